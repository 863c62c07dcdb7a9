#include "platform/linux/AvahiServiceSearch.h"

#include <avahi-common/error.h>

#include <utility>
#include <vector>

namespace tandemview {

namespace {

/// What is found within this time of the first finding is one report: services come in bursts.
constexpr double burstSeconds = 0.05;

/// Between reports: services that come and go all the time must not keep us busy.
constexpr double restSeconds = 0.5;

constexpr double retrySeconds = 5;

}  // namespace

AvahiServiceSearch::AvahiServiceSearch(std::shared_ptr<AvahiDaemon> daemon, std::string serviceType)
    : daemon_(std::move(daemon)), serviceType_(std::move(serviceType)), browser_(nullptr, avahi_service_browser_free) {}

void AvahiServiceSearch::start(WiFiBrowserOutput output) {
  if (state_ != State::Idle) return;
  state_ = State::Running;
  output_ = std::move(output);
  daemon_->add(shared_from_this());
}

void AvahiServiceSearch::cancel() {
  state_ = State::Ended;
  browser_ = nullptr;
}

void AvahiServiceSearch::reportAgain() {
  daemon_->queue()->after(retrySeconds, [weak = weak_from_this()] {
    if (const auto search = weak.lock()) search->resultsChanged();
  });
}

void AvahiServiceSearch::daemonDidStart(AvahiClient& client) {
  if (state_ != State::Running) return;
  browser_.reset(avahi_service_browser_new(&client, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, serviceType_.c_str(),
                                           /*domain=*/nullptr, AvahiLookupFlags{}, browserReported, this));
  if (browser_) return output_.didBecomeReady();
  const Error error = daemon_->lastError();
  if (error.code == AVAHI_ERR_INVALID_SERVICE_TYPE) return fail(error);
  daemon_->reconnect();
}

void AvahiServiceSearch::daemonDidStop() {
  browser_ = nullptr;
  services_.clear();
  resultsChanged();
}

void AvahiServiceSearch::browserReported(AvahiServiceBrowser*, AvahiIfIndex interface, AvahiProtocol protocol,
                                         AvahiBrowserEvent event, const char* name, const char* type,
                                         const char* domain, AvahiLookupResultFlags, void* search) {
  auto& self = *static_cast<AvahiServiceSearch*>(search);
  switch (event) {
    case AVAHI_BROWSER_NEW:
      self.services_[{name, type, domain}].insert({interface, protocol});
      return self.resultsChanged();
    case AVAHI_BROWSER_REMOVE: {
      const auto service = self.services_.find({name, type, domain});
      if (service == self.services_.end()) return;
      service->second.erase({interface, protocol});
      if (service->second.empty()) self.services_.erase(service);
      return self.resultsChanged();
    }
    case AVAHI_BROWSER_FAILURE:
      return self.daemon_->reconnect();
    case AVAHI_BROWSER_CACHE_EXHAUSTED:
    case AVAHI_BROWSER_ALL_FOR_NOW:
      return;
  }
}

void AvahiServiceSearch::fail(const Error& error) {
  state_ = State::Ended;
  output_.didFail(error);
}

void AvahiServiceSearch::resultsChanged() {
  hasChanged_ = true;
  if (!waitsToReport_) reportAfter(burstSeconds);
}

void AvahiServiceSearch::reportAfter(double delay) {
  waitsToReport_ = true;
  daemon_->queue()->after(delay, [weak = weak_from_this()] {
    const auto search = weak.lock();
    if (!search) return;
    search->waitsToReport_ = false;
    if (search->hasChanged_) search->report();
  });
}

void AvahiServiceSearch::report() {
  hasChanged_ = false;
  if (state_ != State::Running) return;
  reportAfter(restSeconds);
  std::vector<WiFiBrowseResult> results;
  for (const auto& [service, locations] : services_) {
    results.push_back({service.name, std::make_shared<AvahiEndpoint>(service, locations, weak_from_this())});
  }
  output_.didChangeResults(results);
}

}  // namespace tandemview
