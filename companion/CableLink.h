#pragma once

#include "companion/PhoneLink.h"

namespace tandemview {

/// A link over the cable: frames with a type each.
class CableLink final : public PhoneLink {
 public:
  using PhoneLink::PhoneLink;

  void send(std::uint32_t type, const Data& payload) override;
  void announce(std::uint32_t length) override;

 private:
  void readNext() override;
  void receivedHeader(const Data& header);
};

}  // namespace tandemview
