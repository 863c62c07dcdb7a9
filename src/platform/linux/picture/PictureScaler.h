#pragma once

#include <cstdint>

#include "platform/linux/picture/PicturePixels.h"
#include "platform/linux/picture/PixelRegion.h"

namespace tandemview {

/// Brings pictures of one size to another by interpolating between neighbouring pixels.
class PictureScaler {
 public:
  PictureScaler(std::int32_t sourceWidth, std::int32_t sourceHeight, std::int32_t width, std::int32_t height)
      : sourceWidth_(sourceWidth), sourceHeight_(sourceHeight), width_(width), height_(height) {}

  /// Adds every pixel of the result that depends on one of `source`'s.
  void addScaled(const PixelRegion& source, PixelRegion& result) const;

  /// Fills the pixels of `result` that are in `stale`.
  void scale(const PicturePixels& source, const PicturePixels& result, const PixelRegion& stale) const;

 private:
  const std::int32_t sourceWidth_;
  const std::int32_t sourceHeight_;
  const std::int32_t width_;
  const std::int32_t height_;
};

}  // namespace tandemview
