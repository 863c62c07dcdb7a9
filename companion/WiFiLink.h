#pragma once

#include "companion/PhoneLink.h"

namespace tandemview {

/// A link over Wi-Fi: each message behind its length, without a type; what it is, its content tells.
class WiFiLink final : public PhoneLink {
 public:
  using PhoneLink::PhoneLink;

  /// The type is not sent.
  void send(std::uint32_t type, const Data& payload) override;
  void announce(std::uint32_t length) override;

 private:
  void readNext() override;
  void receivedPrefix(const Data& prefix);
};

}  // namespace tandemview
