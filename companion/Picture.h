#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "companion/FrameSize.h"

namespace tandemview {

/// A decoded image, as a window's texture takes it.
struct Picture {
  enum class Layout {
    planar,  // luminance, then the two colour differences at half the size each way, all of JPEG's full range
    packed   // 32-bit pixels: blue, green, red, unused
  };

  FrameSize size;
  Layout layout = Layout::packed;
  std::size_t rowSize = 0;  // in bytes, of luminance or pixels; a row of the differences has half of it
  std::vector<std::uint8_t> bytes;
  std::size_t firstDifference = 0;  // where the planes of the differences begin in the bytes
  std::size_t secondDifference = 0;
};

}  // namespace tandemview
