#include "companion/WiFiLink.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "protocol/Message.h"
#include "protocol/MessageType.h"
#include "runtime/BigEndian.h"
#include "usb/PTChannel.h"

namespace tandemview {

namespace {

constexpr std::size_t prefixSize = 4;

Data prefix(std::uint32_t length) {
  return Data::copying(bigEndianBytes(length));
}

std::uint32_t typeOf(const Data& message) {
  if (message.size() == MacProtocol::pongSize) return MessageType::pong;
  return MacProtocol::jsonObject(message) ? MessageType::macInfo : MessageType::videoFrame;
}

}  // namespace

void WiFiLink::send(std::uint32_t, const Data& payload) {
  stream().write(prefix(static_cast<std::uint32_t>(payload.size())).joinedWith(payload), nullptr);
}

void WiFiLink::announce(std::uint32_t length) {
  stream().write(prefix(length), nullptr);
}

void WiFiLink::readNext() {
  read(prefixSize, Position::betweenMessages, [this](const Data& prefix) { receivedPrefix(prefix); });
}

void WiFiLink::receivedPrefix(const Data& prefix) {
  const std::uint64_t length = bigEndianNumber(prefix.bytes());
  if (length == 0 || length > longestPayload) {
    fault("link", fmt::format("a message announces {} bytes", length));
    return end("no message is that long");
  }
  whenNotStalled([this, length] {
    read(length, Position::withinMessage, [this](const Data& message) { receive(typeOf(message), message); });
  });
}

}  // namespace tandemview
