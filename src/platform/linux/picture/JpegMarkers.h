#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tandemview::jpeg {

// The second bytes of markers; the first is 0xFF.
inline constexpr std::byte baselineFrame{0xC0};
inline constexpr std::byte firstRestart{0xD0};
inline constexpr std::byte startOfScan{0xDA};
inline constexpr std::byte restartInterval{0xDD};

inline constexpr std::size_t markerSize = 2;

/// A restart marker tells its place modulo this.
inline constexpr std::size_t restartCycle = 8;

/// Numbers are big-endian.
inline constexpr std::array<std::byte, 2> bytesOf(std::uint16_t number) {
  return {std::byte(number >> 8), std::byte(number & 0xFF)};
}

}  // namespace tandemview::jpeg
