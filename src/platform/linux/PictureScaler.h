#pragma once

#include <cstdint>

#include "platform/linux/SharedPixels.h"

namespace tandemview {

/// Brings pictures of one size to another by interpolating between neighbouring pixels.
class PictureScaler {
 public:
  PictureScaler(std::int32_t sourceWidth, std::int32_t sourceHeight, std::int32_t width, std::int32_t height)
      : sourceWidth_(sourceWidth), sourceHeight_(sourceHeight), width_(width), height_(height) {}

  /// Adds every pixel of the result that depends on one of `source`'s.
  void addScaled(const PixelRegion& source, PixelRegion& result) const;

  /// Fills the stale pixels of `result`.
  void scale(const SharedPixels& source, SharedPixels& result) const;

 private:
  const std::int32_t sourceWidth_;
  const std::int32_t sourceHeight_;
  const std::int32_t width_;
  const std::int32_t height_;
};

}  // namespace tandemview
