#pragma once

#include <cstddef>
#include <cstdint>

namespace tandemview {

/// Somebody's picture of 32-bit pixels, blue first, whose fourth byte means nothing.
struct PicturePixels {
  std::byte* bytes = nullptr;
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::size_t bytesPerRow = 0;
};

}  // namespace tandemview
