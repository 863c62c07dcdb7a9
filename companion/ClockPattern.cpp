#include "companion/ClockPattern.h"

#include <algorithm>
#include <cmath>

namespace tandemview::ClockPattern {

namespace {

constexpr std::uint64_t marker = 0b1010;

/// Blocks between these are neither black nor white: the picture shows something else.
constexpr std::uint8_t darkest = 80;
constexpr std::uint8_t lightest = 175;

/// The sum of all four-bit groups without carry: every single wrong block changes it.
std::uint64_t checksum(std::uint32_t ticks) {
  std::uint64_t sum = 0;
  for (int shift = 0; shift < 32; shift += 4) sum ^= ticks >> shift & 0xF;
  return sum;
}

std::uint64_t bits(std::uint32_t ticks) {
  return marker << 36 | std::uint64_t{ticks} << 4 | checksum(ticks);
}

}  // namespace

std::uint32_t ticks(double seconds) {
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(std::floor(seconds * ticksPerSecond)));
}

double age(std::uint32_t ticks, double now) {
  return static_cast<std::int32_t>(ClockPattern::ticks(now) - ticks) / ticksPerSecond;
}

void draw(std::uint32_t ticks, std::span<std::uint32_t> pixels, std::size_t stride) {
  const std::uint64_t pattern = bits(ticks);
  for (int index = 0; index < columns * rows; ++index) {
    const std::uint32_t color = pattern >> (columns * rows - 1 - index) & 1 ? 0xFFFFFFFF : 0xFF000000;
    const std::size_t left = static_cast<std::size_t>(index % columns) * blockSize;
    const std::size_t top = static_cast<std::size_t>(index / columns) * blockSize;
    for (std::size_t y = top; y < top + blockSize; ++y) {
      std::ranges::fill(pixels.subspan(y * stride + left, blockSize), color);
    }
  }
}

std::optional<std::uint32_t> read(const Luminances& luminances) {
  std::uint64_t pattern = 0;
  for (const std::uint8_t luminance : luminances) {
    if (luminance > darkest && luminance < lightest) return std::nullopt;
    pattern = pattern << 1 | (luminance >= lightest ? 1 : 0);
  }
  const auto ticks = static_cast<std::uint32_t>(pattern >> 4);
  if (pattern != bits(ticks)) return std::nullopt;
  return ticks;
}

}  // namespace tandemview::ClockPattern
