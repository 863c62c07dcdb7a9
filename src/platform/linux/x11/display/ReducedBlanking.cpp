#include "platform/linux/x11/display/ReducedBlanking.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace tandemview {

namespace {

// VESA Coordinated Video Timings 1.2, reduced blanking version 1. Its rounding of the width to a multiple of 8 is
// left out: a virtual display must have exactly the phone's size.
constexpr std::uint32_t horizontalFrontPorch = 48;
constexpr std::uint32_t horizontalSync = 32;
constexpr std::uint32_t horizontalBlank = 160;
constexpr std::uint32_t verticalFrontPorch = 3;
constexpr std::uint32_t verticalSync = 10;  // for aspect ratios that the standard doesn't name
constexpr std::uint32_t leastVerticalBackPorch = 6;
constexpr double leastVerticalBlankSeconds = 460e-6;

}  // namespace

std::optional<xcb_randr_mode_info_t> reducedBlankingTiming(const VirtualDisplayMode& mode) {
  constexpr std::uint32_t limit = std::numeric_limits<std::uint16_t>::max();
  const bool isSane = mode.width > 0 && mode.height > 0 && mode.width <= limit && mode.height <= limit &&
                      mode.refreshRate >= 1 && mode.refreshRate <= 1000;
  if (!isSane) return std::nullopt;

  const double lineSeconds = (1 / mode.refreshRate - leastVerticalBlankSeconds) / mode.height;
  const auto blankLines = static_cast<std::uint32_t>(std::ceil(leastVerticalBlankSeconds / lineSeconds));
  const std::uint32_t verticalBlank = std::max(blankLines, verticalFrontPorch + verticalSync + leastVerticalBackPorch);
  const std::uint32_t horizontalTotal = mode.width + horizontalBlank;
  const std::uint32_t verticalTotal = mode.height + verticalBlank;
  const double dotClock = std::round(mode.refreshRate * horizontalTotal * verticalTotal);
  if (horizontalTotal > limit || verticalTotal > limit || dotClock > std::numeric_limits<std::uint32_t>::max()) {
    return std::nullopt;
  }

  const auto narrow = [](std::uint32_t value) { return static_cast<std::uint16_t>(value); };
  xcb_randr_mode_info_t timing{};
  timing.width = narrow(mode.width);
  timing.height = narrow(mode.height);
  timing.dot_clock = static_cast<std::uint32_t>(dotClock);
  timing.hsync_start = narrow(mode.width + horizontalFrontPorch);
  timing.hsync_end = narrow(mode.width + horizontalFrontPorch + horizontalSync);
  timing.htotal = narrow(horizontalTotal);
  timing.vsync_start = narrow(mode.height + verticalFrontPorch);
  timing.vsync_end = narrow(mode.height + verticalFrontPorch + verticalSync);
  timing.vtotal = narrow(verticalTotal);
  timing.mode_flags = XCB_RANDR_MODE_FLAG_HSYNC_POSITIVE | XCB_RANDR_MODE_FLAG_VSYNC_NEGATIVE;
  return timing;
}

}  // namespace tandemview
