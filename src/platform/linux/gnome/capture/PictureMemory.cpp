#include "platform/linux/gnome/capture/PictureMemory.h"

#include <algorithm>
#include <cstring>

namespace tandemview {

namespace {

/// In pixels. The encoder's bands are as high; a narrower tile costs more calls than it saves pixels.
constexpr std::int32_t tileHeight = 16;
constexpr std::int32_t tileWidth = 64;

constexpr std::size_t bytesPerPixel = 4;

}  // namespace

PictureMemory::PictureMemory(std::int32_t width, std::int32_t height)
    : width_(width),
      height_(height),
      bytes_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * bytesPerPixel),
      changed_(static_cast<std::size_t>((width + tileWidth - 1) / tileWidth)) {}

void PictureMemory::fill(const PicturePixels& picture, const PictureMemory* before) {
  damage_.clear();
  if (!before) damage_.push_back({.x = 0, .y = 0, .width = width_, .height = height_});
  for (std::int32_t top = 0; top < height_; top += tileHeight) {
    const std::int32_t bottom = std::min(top + tileHeight, height_);
    std::fill(changed_.begin(), changed_.end(), false);
    for (std::int32_t y = top; y < bottom; ++y) {
      const std::byte* const row = picture.bytes + static_cast<std::size_t>(y) * picture.bytesPerRow;
      const std::size_t offset = static_cast<std::size_t>(y) * bytesPerRow();
      if (before) compareRow(row, before->bytes_.data() + offset);
      std::memcpy(bytes_.data() + offset, row, bytesPerRow());
    }
    if (before) addDamage(top, bottom);
  }
}

void PictureMemory::compareRow(const std::byte* row, const std::byte* rowBefore) {
  for (std::size_t tile = 0; tile < changed_.size(); ++tile) {
    if (changed_[tile]) continue;
    const std::size_t offset = tile * tileWidth * bytesPerPixel;
    const std::size_t length = std::min(tileWidth * bytesPerPixel, bytesPerRow() - offset);
    changed_[tile] = std::memcmp(row + offset, rowBefore + offset, length) != 0;
  }
}

/// Tiles side by side are one rectangle.
void PictureMemory::addDamage(std::int32_t top, std::int32_t bottom) {
  for (auto first = changed_.begin(); (first = std::find(first, changed_.end(), true)) != changed_.end();) {
    const auto last = std::find(first, changed_.end(), false);
    const auto left = static_cast<std::int32_t>(first - changed_.begin()) * tileWidth;
    const auto right = std::min(static_cast<std::int32_t>(last - changed_.begin()) * tileWidth, width_);
    damage_.push_back({.x = left, .y = top, .width = right - left, .height = bottom - top});
    first = last;
  }
}

}  // namespace tandemview
