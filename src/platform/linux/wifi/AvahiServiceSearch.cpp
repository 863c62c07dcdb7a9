#include "platform/linux/wifi/AvahiServiceSearch.h"

#include <sdbus-c++/sdbus-c++.h>

#include <utility>

#include "platform/linux/wifi/AvahiNames.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

/// What is found within this time of the first finding is one report: services come in bursts.
constexpr double burstSeconds = 0.05;

/// Between reports: services that come and go all the time must not keep us busy.
constexpr double restSeconds = 0.5;

constexpr double retrySeconds = 5;

}  // namespace

AvahiServiceSearch::AvahiServiceSearch(std::shared_ptr<AvahiDaemon> daemon, std::string serviceType)
    : daemon_(std::move(daemon)), serviceType_(std::move(serviceType)) {}

void AvahiServiceSearch::start(WiFiBrowserOutput output) {
  if (state_ != State::Idle) return;
  state_ = State::Running;
  output_ = std::move(output);
  daemon_->add(shared_from_this());
}

void AvahiServiceSearch::findHosts(const std::vector<std::shared_ptr<const WiFiEndpoint>>& services, double seconds,
                                   WiFiBrowser::HostsCompletion completion) {
  if (state_ == State::Running) inquiry_ = AvahiHostInquiry::start(daemon_, services, seconds, std::move(completion));
}

void AvahiServiceSearch::cancel() {
  state_ = State::Ended;
  browser_ = nullptr;
  inquiry_ = nullptr;
}

void AvahiServiceSearch::reportAgain() {
  daemon_->queue()->after(retrySeconds, [weak = weak_from_this()] {
    if (const auto search = weak.lock()) search->resultsChanged();
  });
}

void AvahiServiceSearch::daemonDidStart() {
  browse();
}

void AvahiServiceSearch::daemonDidStop() {
  browser_ = nullptr;
  services_.clear();
  resultsChanged();
}

void AvahiServiceSearch::browse() {
  if (state_ != State::Running || browser_ || !daemon_->isRunning()) return;
  browser_ = daemon_->make(AvahiNames::serviceBrowser, "ServiceBrowserNew",
                           [this](sdbus::Message& call) {
                             call << AvahiNames::anyInterface << AvahiNames::anyProtocol << serviceType_
                                  << "" /* the default domain */ << AvahiNames::byMulticast;
                           },
                           {.didAppear =
                                [this] {
                                  isRefused_ = false;
                                  output_.didBecomeReady();
                                },
                            .didSignal = [this](const std::string& signal,
                                                sdbus::Message& arguments) { browserReported(signal, arguments); },
                            .didFail = [this](const Error& error) { browserFailed(error); }});
}

void AvahiServiceSearch::browserReported(const std::string& signal, sdbus::Message& arguments) {
  if (signal == "Failure") {
    std::string name;
    arguments >> name;
    return browserFailed({.domain = name});
  }
  if (signal != "ItemNew" && signal != "ItemRemove") return;
  AvahiLocation location;
  AvahiServiceName service;
  arguments >> location.interface >> location.protocol >> service.name >> service.type >> service.domain;
  if (signal == "ItemNew") {
    services_[service].insert(location);
  } else if (const auto known = services_.find(service); known != services_.end()) {
    known->second.erase(location);
    if (known->second.empty()) services_.erase(known);
  }
  resultsChanged();
}

/// A search for what is no type of service can only fail. Any other refusal, such as too many objects, may pass.
void AvahiServiceSearch::browserFailed(const Error& error) {
  if (error.domain == "org.freedesktop.Avahi.InvalidServiceTypeError") {
    state_ = State::Ended;
    return output_.didFail(error);
  }
  if (!std::exchange(isRefused_, true)) {
    Log::print("⚠️ The Avahi daemon does not search for phones: {}", error.localizedDescription());
  }
  daemonDidStop();
  daemon_->queue()->after(retrySeconds, [weak = weak_from_this()] {
    if (const auto search = weak.lock()) search->browse();
  });
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
