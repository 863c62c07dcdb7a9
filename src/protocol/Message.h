#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>

#include "protocol/DeviceInfo.h"
#include "protocol/ProgramInfo.h"
#include "runtime/Data.h"

namespace tandemview::MacProtocol {

inline constexpr std::size_t pingSize = 8;
inline constexpr std::size_t pongSize = 16;

/// No JSON message of a phone is longer; a longer one is dropped unread.
inline constexpr std::size_t longestMessage = 1'000'000;

/// What a payload is, told by its content alone.
enum class MessageKind { ping, pong, deviceInfo, invalidDeviceInfo, keyEvent, touchEvent, unrecognized };

struct ClassifiedMessage {
  MessageKind kind = MessageKind::unrecognized;
  std::optional<DeviceInfo> deviceInfo;  // present exactly for deviceInfo
};

/// Recognises a message on a link that carries no frame types. `payload` is contiguous.
ClassifiedMessage classify(const Data& payload);

/// The JSON object that `payload` (contiguous) is; absent for anything else.
std::optional<nlohmann::json> jsonObject(const Data& payload);

/// Decodes a device-info payload; absent if it is malformed.
std::optional<DeviceInfo> decodeDeviceInfo(const Data& payload);

/// The answer to `ping` (8 bytes, contiguous): the same bytes, then the host's clock in seconds as a little-endian
/// double.
Data pong(const Data& ping, double now);

/// Seconds as the 8 bytes that travel: an IEEE-754 double, little-endian.
Data timestamp(double seconds);

/// What the host tells a phone about itself, as JSON.
Data macInfo(const ProgramInfo& program);

}  // namespace tandemview::MacProtocol
