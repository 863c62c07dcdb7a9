#pragma once

#include <dns_sd.h>

#include <memory>
#include <string>

#include "companion/WiFiAnnouncement.h"

namespace tandemview {

/// By macOS's own daemon.
class BonjourAnnouncement final : public WiFiAnnouncement {
 public:
  BonjourAnnouncement(std::string name, std::uint16_t port, Report report);
  ~BonjourAnnouncement() override;

  void start(Queue& queue);

 private:
  static void DNSSD_API registered(DNSServiceRef registration, DNSServiceFlags flags, DNSServiceErrorType error,
                                   const char* name, const char* type, const char* domain, void* announcement);
  void hearReplies();
  void cannotBeAnnounced(DNSServiceErrorType error);

  const std::string name_;
  const std::uint16_t port_;
  const Report report_;
  DNSServiceRef registration_ = nullptr;
  std::unique_ptr<DescriptorWatch> replies_;
};

}  // namespace tandemview
