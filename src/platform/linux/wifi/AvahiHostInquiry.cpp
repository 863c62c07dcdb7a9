#include "platform/linux/wifi/AvahiHostInquiry.h"

#include <fmt/format.h>
#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>
#include <utility>

#include "platform/linux/wifi/AvahiEndpoint.h"
#include "platform/linux/wifi/AvahiNames.h"

namespace tandemview {

namespace {

/// The daemon keeps 1024 objects for each of its clients by default.
constexpr std::size_t mostQuestions = 512;

/// Of the type SRV (RFC 2782): priority, weight and port stand before the host's name.
constexpr std::size_t hostOffset = 6;

/// One label of a domain name as the daemon takes it.
std::string escaped(const std::string& label) {
  std::string result;
  for (const char character : label) {
    if (character == '.' || character == '\\') result += '\\';
    result += character;
  }
  return result;
}

/// The host that a service record names, in lower case: names are compared without regard to it (RFC 6762, section 16).
std::string hostIn(const std::vector<std::uint8_t>& serviceRecord) {
  std::string host;
  for (std::size_t at = hostOffset; at < serviceRecord.size() && serviceRecord[at] != 0;) {
    const std::size_t end = std::min(at + 1 + serviceRecord[at], serviceRecord.size());
    if (!host.empty()) host += '.';
    while (++at < end) host += static_cast<char>(serviceRecord[at]);
  }
  for (char& character : host) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
  }
  return host;
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
    if (!daemon_->isRunning() || index == mostQuestions) return;
    const auto& [name, type, domain] = static_cast<const AvahiEndpoint&>(*services[index]).service;
    const std::string fullName = fmt::format("{}.{}.{}", escaped(name), type, domain);
    browsers_.push_back(daemon_->make(AvahiNames::recordBrowser, "RecordBrowserNew",
                                      [&](sdbus::Message& call) {
                                        call << AvahiNames::anyInterface << AvahiNames::anyProtocol << fullName
                                             << AvahiNames::internetClass << AvahiNames::serviceRecord
                                             << AvahiNames::byMulticast;
                                      },
                                      {.didSignal =
                                           [this, index](const std::string& signal, sdbus::Message& arguments) {
                                             if (signal != "ItemNew") return;
                                             AvahiLocation location;
                                             std::string recordName;
                                             std::uint16_t recordClass = 0, recordType = 0;
                                             std::vector<std::uint8_t> data;
                                             arguments >> location.interface >> location.protocol >> recordName >>
                                                 recordClass >> recordType >> data;
                                             hosts_[index].insert(hostIn(data));
                                           },
                                       .didFail = [](const Error&) {}}));
  }
}

void AvahiHostInquiry::end() {
  browsers_.clear();
  std::exchange(completion_, nullptr)(std::move(hosts_));
}

}  // namespace tandemview
