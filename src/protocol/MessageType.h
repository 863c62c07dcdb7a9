#pragma once

#include <cstdint>

namespace tandemview {

/// Frame types of the messages between the host and the phone.
namespace MessageType {
inline constexpr std::uint32_t deviceInfo = 100;  // phone to host
inline constexpr std::uint32_t videoFrame = 101;  // host to phone
inline constexpr std::uint32_t ping = 102;        // phone to host
inline constexpr std::uint32_t pong = 103;        // host to phone
inline constexpr std::uint32_t touchEvent = 104;  // phone to host
inline constexpr std::uint32_t keyEvent = 105;    // phone to host
inline constexpr std::uint32_t macInfo = 106;     // host to phone
}  // namespace MessageType

}  // namespace tandemview
