#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace tandemview {

/// A clock that is part of the picture: two rows of twenty black (0) or white (1) blocks at the top left, which
/// survive strong JPEG compression and colour subsampling. Row by row they hold four marker bits (1010), the time in
/// ticks as 32 bits and four bits of checksum, most significant first.
namespace ClockPattern {

inline constexpr int columns = 20;
inline constexpr int rows = 2;
inline constexpr int blockSize = 16;  // pixels, the side of a JPEG unit with 4:2:0
inline constexpr int width = columns * blockSize;
inline constexpr int height = rows * blockSize;

inline constexpr double ticksPerSecond = 10'000;

/// The mean luminance (0 to 255) of each block, row by row.
using Luminances = std::array<std::uint8_t, columns * rows>;

/// A time of the monotonic clock in ticks, modulo 2^32 (five days).
std::uint32_t ticks(double seconds);

/// Seconds from the ticks to `now`, both of the same clock and two days apart at most.
double age(std::uint32_t ticks, double now);

/// Draws the pattern to the top left of an image of 32-bit pixels, `stride` pixels a row.
void draw(std::uint32_t ticks, std::span<std::uint32_t> pixels, std::size_t stride);

/// The ticks that the blocks hold; absent if they are no such pattern.
std::optional<std::uint32_t> read(const Luminances& luminances);

}  // namespace ClockPattern

}  // namespace tandemview
