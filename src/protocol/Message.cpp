#include "protocol/Message.h"

#include <array>
#include <bit>
#include <nlohmann/json.hpp>

namespace tandemview::MacProtocol {

using nlohmann::json;

ClassifiedMessage classify(const Data& payload) {
  if (payload.size() == pingSize) return {MessageKind::ping, {}};
  if (payload.size() == pongSize) return {MessageKind::pong, {}};
  const std::optional<json> object = jsonObject(payload);
  if (!object) return {};
  if (object->contains("width") && object->contains("height")) {
    auto info = DeviceInfo::fromJSON(*object);
    const MessageKind kind = info ? MessageKind::deviceInfo : MessageKind::invalidDeviceInfo;
    return {kind, std::move(info)};
  }
  if (object->contains("kind") && object->at("kind") == "key") return {MessageKind::keyEvent, {}};
  if (object->contains("type") && object->contains("x") && object->contains("y")) return {MessageKind::touchEvent, {}};
  return {};
}

std::optional<json> jsonObject(const Data& payload) {
  if (payload.size() > longestMessage) return std::nullopt;
  const std::string_view text = payload.text();
  json value = json::parse(text.begin(), text.end(), nullptr, /*allow_exceptions=*/false);
  if (!value.is_object()) return std::nullopt;
  return value;
}

std::optional<DeviceInfo> decodeDeviceInfo(const Data& payload) {
  const std::optional<json> object = jsonObject(payload);
  return object ? DeviceInfo::fromJSON(*object) : std::nullopt;
}

Data pong(const Data& ping, double now) {
  return ping.joinedWith(timestamp(now));
}

Data timestamp(double seconds) {
  static_assert(std::endian::native == std::endian::little, "the wire format is the host's own order");
  const auto bytes = std::bit_cast<std::array<std::byte, sizeof(double)>>(seconds);
  return Data::copying(bytes);
}

Data macInfo(const ProgramInfo& program) {
  const json object = {{"kind", "macInfo"},
                       {"version", program.shortVersion},
                       {"build", program.build},
                       {"features", json::array({"resize"})}};
  return Data::copying(object.dump());
}

}  // namespace tandemview::MacProtocol
