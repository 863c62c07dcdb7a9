#include "companion/CableLink.h"

#include <fmt/format.h>

#include "protocol/MessageType.h"
#include "runtime/BigEndian.h"
#include "usb/PTChannel.h"

namespace tandemview {

namespace {

constexpr std::size_t headerSize = 16;
constexpr std::uint32_t version = 1;
constexpr std::uint32_t noTag = 0;

Data header(std::uint32_t type, std::size_t payloadSize) {
  Data bytes;
  for (const std::uint32_t field : {version, type, noTag, static_cast<std::uint32_t>(payloadSize)}) {
    bytes = bytes.joinedWith(Data::copying(bigEndianBytes(field)));
  }
  return bytes.contiguous();
}

}  // namespace

void CableLink::send(std::uint32_t type, const Data& payload) {
  stream().write(header(type, payload.size()).joinedWith(payload), nullptr);
}

void CableLink::announce(std::uint32_t length) {
  stream().write(header(MessageType::deviceInfo, length), nullptr);
}

void CableLink::readNext() {
  read(headerSize, Position::betweenMessages, [this](const Data& bytes) { receivedHeader(bytes); });
}

void CableLink::receivedHeader(const Data& header) {
  const auto field = [&](std::size_t index) { return bigEndianNumber(header.bytes().subspan(4 * index).first<4>()); };
  if (field(0) != version) {
    fault("link", fmt::format("a frame of version {}", field(0)));
    return end("no frame has that version");
  }
  const std::uint32_t type = field(1);
  const std::uint32_t payloadSize = field(3);
  if (field(2) != 0) fault("tag", fmt::format("a frame of type {} has the tag {}", type, field(2)));
  if (payloadSize > longestPayload) {
    fault("link", fmt::format("a frame of type {} announces {} bytes", type, payloadSize));
    return end("no message is that long");
  }
  whenNotStalled([this, type, payloadSize] {
    if (payloadSize == 0) return receive(type, {});
    read(payloadSize, Position::withinMessage, [this, type](const Data& payload) { receive(type, payload); });
  });
}

}  // namespace tandemview
