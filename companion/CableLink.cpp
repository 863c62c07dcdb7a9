#include "companion/CableLink.h"

#include <fmt/format.h>

#include <array>

#include "protocol/MessageType.h"
#include "usb/PTChannel.h"

namespace tandemview {

void CableLink::send(std::uint32_t type, const Data& payload) {
  PTProtocol::sharedProtocolForQueue(queue())->sendFrameOfType(type, 0, payload, stream(), nullptr);
}

void CableLink::announce(std::uint32_t length) {
  std::array<std::byte, PTProtocol::headerSize> header{};
  std::size_t at = 0;
  for (const std::uint32_t field : {PTProtocol::version, MessageType::deviceInfo, std::uint32_t{0}, length}) {
    for (int shift = 24; shift >= 0; shift -= 8) header[at++] = std::byte(field >> shift);
  }
  stream().write(Data::copying(header), nullptr);
}

void CableLink::readNext() {
  PTProtocol::sharedProtocolForQueue(queue())->readFramesOverChannel(
      sharedStream(),
      [weak = std::weak_ptr(shared())](const std::optional<Error>& error, std::uint32_t type, std::uint32_t tag,
                                       std::uint32_t payloadSize, const PTProtocol::ResumeBlock& resume) {
        if (const auto link = weak.lock()) link->readHeader(error, type, tag, payloadSize, resume);
      });
}

void CableLink::readHeader(const std::optional<Error>& error, std::uint32_t type, std::uint32_t tag,
                           std::uint32_t payloadSize, const PTProtocol::ResumeBlock& resume) {
  if (isStopped()) return;
  if (error) return end(error->localizedDescription());
  if (type == PTProtocol::endOfStreamType) return end("the host has closed it");
  if (tag != 0) fault(fmt::format("a frame of type {} has the tag {}", type, tag));
  if (payloadSize > longestPayload) {
    fault(fmt::format("a frame of type {} announces {} bytes", type, payloadSize));
    return end("no message is that long");
  }
  whenNotStalled([weak = std::weak_ptr(shared()), type, payloadSize, resume] {
    if (const auto link = weak.lock()) link->readPayload(type, payloadSize, resume);
  });
}

void CableLink::readPayload(std::uint32_t type, std::uint32_t payloadSize, const PTProtocol::ResumeBlock& resume) {
  if (payloadSize == 0) {
    receive(type, {});
    return resume();
  }
  PTProtocol::sharedProtocolForQueue(queue())->readPayloadOfSize(
      payloadSize, stream(),
      [weak = std::weak_ptr(shared()), type, payloadSize, resume](const std::optional<Error>& error,
                                                                  const std::optional<Data>& payload) {
        const auto link = weak.lock();
        if (!link || link->isStopped()) return;
        if (error) return link->end(error->localizedDescription());
        if (!payload || payload->size() < payloadSize) return link->end("the host has closed it within a frame");
        link->receive(type, *payload);
        resume();
      });
}

}  // namespace tandemview
