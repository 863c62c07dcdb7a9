#pragma once

#include <pixman.h>

#include <vector>

#include "platform/linux/SharedPixels.h"

namespace tandemview {

/// Brings pictures of one size to another: each pixel averages what it covers, or is interpolated when enlarged.
class PictureScaler {
 public:
  PictureScaler(std::int32_t sourceWidth, std::int32_t sourceHeight, std::int32_t width, std::int32_t height);
  PictureScaler(const PictureScaler&) = delete;
  PictureScaler& operator=(const PictureScaler&) = delete;
  ~PictureScaler();

  /// Adds every pixel of the result that depends on one of `source`'s.
  void addScaled(const PixelRegion& source, PixelRegion& result) const;

  /// Fills the stale pixels of `result`.
  void scale(const SharedPixels& source, SharedPixels& result) const;

 private:
  const std::int32_t sourceWidth_;
  const std::int32_t sourceHeight_;
  const std::int32_t width_;
  const std::int32_t height_;
  pixman_fixed_t* filter_ = nullptr;
  int filterSize_ = 0;
};

}  // namespace tandemview
