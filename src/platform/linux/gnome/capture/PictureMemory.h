#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "capture/PixelBuffer.h"
#include "platform/linux/picture/PicturePixels.h"

namespace tandemview {

/// A picture of our own, which is told what has changed in it when it is filled.
class PictureMemory final : public PixelBuffer {
 public:
  PictureMemory(std::int32_t width, std::int32_t height);

  std::int64_t width() const override { return width_; }
  std::int64_t height() const override { return height_; }
  std::size_t bytesPerRow() const override { return static_cast<std::size_t>(width_) * 4; }
  const std::byte* baseAddress() const override { return bytes_.data(); }
  const std::vector<PixelRectangle>& damage() const override { return damage_; }

  /// Copies a picture of the same size. The damage is what differs from `before`, by tiles; without one, all of it.
  void fill(const PicturePixels& picture, const PictureMemory* before);

 private:
  void compareRow(const std::byte* row, const std::byte* rowBefore);
  void addDamage(std::int32_t top, std::int32_t bottom);

  const std::int32_t width_;
  const std::int32_t height_;
  std::vector<std::byte> bytes_;
  std::vector<PixelRectangle> damage_;
  std::vector<bool> changed_;  // the tiles of the row of them that is being compared
};

}  // namespace tandemview
