#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tandemview {

/// `value` as it travels: 4 bytes, the most significant one first.
inline std::array<std::byte, 4> bigEndianBytes(std::uint32_t value) {
  return {std::byte(value >> 24), std::byte(value >> 16), std::byte(value >> 8), std::byte(value)};
}

/// The same in 2 bytes.
inline std::array<std::byte, 2> bigEndianBytes(std::uint16_t value) {
  return {std::byte(value >> 8), std::byte(value & 0xFF)};
}

/// The number that `bytes`, at most 8 of them, are.
inline std::uint64_t bigEndianNumber(std::span<const std::byte> bytes) {
  std::uint64_t number = 0;
  for (const std::byte byte : bytes) number = number << 8 | std::to_integer<std::uint64_t>(byte);
  return number;
}

/// The same of 4 bytes.
inline std::uint32_t bigEndianNumber(std::span<const std::byte, 4> bytes) {
  return static_cast<std::uint32_t>(bigEndianNumber(std::span<const std::byte>(bytes)));
}

}  // namespace tandemview
