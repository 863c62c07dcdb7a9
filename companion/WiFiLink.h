#pragma once

#include <optional>

#include "companion/PhoneLink.h"
#include "runtime/Error.h"

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
  /// Reads so many bytes, then goes on; a link that does not give them ends.
  void read(std::size_t length, void (WiFiLink::*next)(const Data&));
  void receivedPrefix(const Data& prefix);
  void receivedMessage(const Data& message);
};

}  // namespace tandemview
