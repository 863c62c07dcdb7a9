#pragma once

#include "companion/PhoneLink.h"
#include "usb/PTProtocol.h"

namespace tandemview {

/// A link over the cable: frames with a type each.
class CableLink final : public PhoneLink {
 public:
  using PhoneLink::PhoneLink;

  void send(std::uint32_t type, const Data& payload) override;
  void announce(std::uint32_t length) override;

 private:
  void readNext() override;
  void readHeader(const std::optional<Error>& error, std::uint32_t type, std::uint32_t tag, std::uint32_t payloadSize,
                  const PTProtocol::ResumeBlock& resume);
  void readPayload(std::uint32_t type, std::uint32_t payloadSize, const PTProtocol::ResumeBlock& resume);
  std::shared_ptr<CableLink> shared() { return std::static_pointer_cast<CableLink>(shared_from_this()); }
};

}  // namespace tandemview
