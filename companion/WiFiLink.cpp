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
  read(prefixSize, &WiFiLink::receivedPrefix);
}

void WiFiLink::receivedPrefix(const Data& prefix) {
  const std::uint64_t length = bigEndianNumber(prefix.bytes());
  if (length == 0 || length > longestPayload) {
    fault(fmt::format("a message announces {} bytes", length));
    return end("no message is that long");
  }
  whenNotStalled([this, length] { read(length, &WiFiLink::receivedMessage); });
}

void WiFiLink::receivedMessage(const Data& message) {
  receive(typeOf(message), message);
  if (!isStopped()) readNext();
}

void WiFiLink::read(std::size_t length, void (WiFiLink::*next)(const Data&)) {
  stream().read(length, [weak = weak_from_this(), length, next](const std::optional<Error>& error, const Data& bytes) {
    const auto link = std::static_pointer_cast<WiFiLink>(weak.lock());
    if (!link || link->isStopped()) return;
    if (error) return link->end(error->localizedDescription());
    if (bytes.empty()) return link->end("the host has closed it");
    if (bytes.size() < length) return link->end("the host has closed it within a message");
    (link.get()->*next)(bytes);
  });
}

}  // namespace tandemview
