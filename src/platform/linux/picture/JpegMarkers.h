#pragma once

#include <cstddef>

namespace tandemview::jpeg {

// The second bytes of markers; the first is 0xFF. (ITU-T T.81, table B.1; numbers are big-endian.)
inline constexpr std::byte baselineFrame{0xC0};
inline constexpr std::byte firstRestart{0xD0};
inline constexpr std::byte startOfScan{0xDA};
inline constexpr std::byte restartInterval{0xDD};

inline constexpr std::size_t markerSize = 2;

/// A restart marker tells its place modulo this.
inline constexpr std::size_t restartCycle = 8;

}  // namespace tandemview::jpeg
