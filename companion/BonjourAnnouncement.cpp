#include "companion/BonjourAnnouncement.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <utility>

namespace tandemview {

std::shared_ptr<WiFiAnnouncement> WiFiAnnouncement::of(const std::string& code, std::uint16_t port,
                                                       const std::shared_ptr<Queue>& queue, Report report) {
  auto announcement = std::make_shared<BonjourAnnouncement>(serviceName(code), port, std::move(report));
  announcement->start(*queue);
  return announcement;
}

BonjourAnnouncement::BonjourAnnouncement(std::string name, std::uint16_t port, Report report)
    : name_(std::move(name)), port_(port), report_(std::move(report)) {}

BonjourAnnouncement::~BonjourAnnouncement() {
  replies_ = nullptr;
  if (registration_) DNSServiceRefDeallocate(registration_);
}

void BonjourAnnouncement::start(Queue& queue) {
  const DNSServiceErrorType error = DNSServiceRegister(
      &registration_, kDNSServiceFlagsNoAutoRename, kDNSServiceInterfaceIndexAny, name_.c_str(), serviceType,
      /*domain=*/nullptr, /*host=*/nullptr, htons(port_), /*txtLen=*/0, /*txtRecord=*/nullptr, registered, this);
  if (error != kDNSServiceErr_NoError) return cannotBeAnnounced(error);
  auto watch = queue.watch(DNSServiceRefSockFD(registration_));
  if (!watch) {
    return report_(State::Failed,
                   fmt::format("{} cannot be announced: {}", name_, watch.error().localizedDescription()));
  }
  replies_ = std::move(*watch);
  hearReplies();
}

void BonjourAnnouncement::hearReplies() {
  replies_->whenReadable([this] {
    const DNSServiceErrorType error = DNSServiceProcessResult(registration_);
    if (error != kDNSServiceErr_NoError) return cannotBeAnnounced(error);
    hearReplies();
  });
}

void BonjourAnnouncement::registered(DNSServiceRef, DNSServiceFlags, DNSServiceErrorType error, const char*,
                                     const char*, const char*, void* context) {
  auto& announcement = *static_cast<BonjourAnnouncement*>(context);
  if (error != kDNSServiceErr_NoError) return announcement.cannotBeAnnounced(error);
  announcement.report_(State::Announced,
                       fmt::format("{} is announced, on port {}", announcement.name_, announcement.port_));
}

void BonjourAnnouncement::cannotBeAnnounced(DNSServiceErrorType error) {
  if (error == kDNSServiceErr_NameConflict) {
    return report_(State::Taken, fmt::format("{} cannot be announced: another phone has this name", name_));
  }
  report_(State::Failed, fmt::format("{} cannot be announced: error {} of the system's daemon", name_, error));
}

}  // namespace tandemview
