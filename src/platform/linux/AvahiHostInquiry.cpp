#include "platform/linux/AvahiHostInquiry.h"

#include <sdbus-c++/sdbus-c++.h>

#include <utility>

#include "platform/linux/AvahiEndpoint.h"
#include "platform/linux/AvahiNames.h"

namespace tandemview {

namespace {

/// The daemon keeps 1024 objects for each of its clients by default.
constexpr std::size_t mostQuestions = 512;

/// Host names are compared without regard to case (RFC 6762, section 16).
std::string lowercased(std::string name) {
  for (char& character : name) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
  }
  return name;
}

}  // namespace

std::shared_ptr<AvahiHostInquiry> AvahiHostInquiry::start(
    std::shared_ptr<AvahiDaemon> daemon, const std::vector<std::shared_ptr<const WiFiEndpoint>>& services,
    double seconds, WiFiBrowser::HostsCompletion completion) {
  std::shared_ptr<AvahiHostInquiry> inquiry(
      new AvahiHostInquiry(std::move(daemon), services.size(), std::move(completion)));
  inquiry->ask(services, seconds);
  return inquiry;
}

AvahiHostInquiry::AvahiHostInquiry(std::shared_ptr<AvahiDaemon> daemon, std::size_t serviceCount,
                                   WiFiBrowser::HostsCompletion completion)
    : daemon_(std::move(daemon)), hosts_(serviceCount), completion_(std::move(completion)) {}

void AvahiHostInquiry::ask(const std::vector<std::shared_ptr<const WiFiEndpoint>>& services, double seconds) {
  daemon_->add(shared_from_this());
  daemon_->queue()->after(seconds, [weak = weak_from_this()] {
    if (const auto inquiry = weak.lock()) inquiry->end();
  });
  for (std::size_t index = 0; index < services.size(); ++index) {
    const auto& [name, type, domain] = static_cast<const AvahiEndpoint&>(*services[index]).service;
    for (const AvahiLocation& location : static_cast<const AvahiEndpoint&>(*services[index]).locations) {
      if (!daemon_->isRunning() || resolvers_.size() == mostQuestions) return;
      resolvers_.push_back(daemon_->make(
          AvahiNames::serviceResolver, "ServiceResolverNew",
          [&](sdbus::Message& call) {
            call << location.interface << location.protocol << name << type << domain << AvahiNames::anyProtocol
                 << (AvahiNames::byMulticast | AvahiNames::withoutText | AvahiNames::withoutAddress);
          },
          {.didSignal =
               [this, index](const std::string& signal, sdbus::Message& arguments) {
                 if (signal != "Found") return;
                 AvahiLocation foundAt;
                 std::string service, serviceType, serviceDomain, host;
                 arguments >> foundAt.interface >> foundAt.protocol >> service >> serviceType >> serviceDomain >> host;
                 hosts_[index].insert(lowercased(std::move(host)));
               },
           .didFail = [](const Error&) {}}));
    }
  }
}

void AvahiHostInquiry::end() {
  resolvers_.clear();
  std::exchange(completion_, nullptr)(std::move(hosts_));
}

}  // namespace tandemview
