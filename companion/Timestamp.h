#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tandemview {

inline constexpr std::size_t timestampSize = 8;

/// Seconds as they travel: an IEEE-754 double, little-endian.
inline double timestampFrom(std::span<const std::byte, timestampSize> bytes) {
  std::uint64_t bits = 0;
  for (std::size_t index = timestampSize; index-- > 0;) bits = bits << 8 | std::to_integer<std::uint64_t>(bytes[index]);
  return std::bit_cast<double>(bits);
}

}  // namespace tandemview
