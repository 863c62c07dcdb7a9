#pragma once

#include <dispatch/dispatch.h>
#include <dns_sd.h>

#include <memory>
#include <string>
#include <vector>

#include "wifi/WiFiNetwork.h"

namespace tandemview {

/// Asks the system's resolver who announces some services, on the ordinary networks: on direct links every host has a
/// name made up for them. Lives on one queue; letting go of it ends it.
class MacHostInquiry final {
 public:
  explicit MacHostInquiry(std::size_t serviceCount) : answers_(serviceCount) {}
  ~MacHostInquiry();
  MacHostInquiry(const MacHostInquiry&) = delete;
  MacHostInquiry& operator=(const MacHostInquiry&) = delete;

  /// Asks for the service of this index.
  void ask(std::size_t index, const std::string& name, const std::string& type, const std::string& domain,
           dispatch_queue_t queue);

  std::vector<WiFiBrowser::HostNames> answers() const { return answers_; }

 private:
  static void DNSSD_API resolved(DNSServiceRef question, DNSServiceFlags flags, std::uint32_t interface,
                                 DNSServiceErrorType error, const char* fullName, const char* host, std::uint16_t port,
                                 std::uint16_t textLength, const unsigned char* text, void* names);

  std::vector<WiFiBrowser::HostNames> answers_;  // of each service; the questions hold their places
  std::vector<DNSServiceRef> questions_;
};

}  // namespace tandemview
