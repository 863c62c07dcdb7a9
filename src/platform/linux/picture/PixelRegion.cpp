#include "platform/linux/picture/PixelRegion.h"

namespace tandemview {

void PixelRegion::add(const PixelRectangle& rectangle) {
  if (rectangle.width <= 0 || rectangle.height <= 0) return;
  pixman_region32_union_rect(&region_, &region_, rectangle.x, rectangle.y, static_cast<unsigned int>(rectangle.width),
                             static_cast<unsigned int>(rectangle.height));
}

void PixelRegion::add(const PixelRegion& other) {
  pixman_region32_union(&region_, &region_, other.get());
}

void PixelRegion::add(std::span<const pixman_box32_t> boxes) {
  pixman_region32_t added;
  pixman_region32_init_rects(&added, boxes.data(), static_cast<int>(boxes.size()));
  pixman_region32_union(&region_, &region_, &added);
  pixman_region32_fini(&added);
}

void PixelRegion::clipTo(std::int32_t width, std::int32_t height) {
  pixman_region32_intersect_rect(&region_, &region_, 0, 0, static_cast<unsigned int>(width),
                                 static_cast<unsigned int>(height));
}

std::span<const pixman_box32_t> PixelRegion::boxes() const {
  int count = 0;
  const pixman_box32_t* const first = pixman_region32_rectangles(get(), &count);
  return {first, static_cast<std::size_t>(count)};
}

}  // namespace tandemview
