#include "platform/linux/picture/PictureScaler.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace tandemview {

namespace {

/// How far, in pixels of the source, one of them can be felt: interpolation mixes neighbours, and positions are
/// rounded.
constexpr double reach = 2;

pixman_image_t* imageOf(const PicturePixels& pixels) {
  return pixman_image_create_bits(PIXMAN_x8r8g8b8, pixels.width, pixels.height,
                                  reinterpret_cast<std::uint32_t*>(pixels.bytes), static_cast<int>(pixels.bytesPerRow));
}

/// The pixels of a row of `length` that depend on those from `first` to `end` of a row of `sourceLength`.
struct Span {
  std::int32_t first;
  std::int32_t end;
};
Span scaledSpan(std::int32_t first, std::int32_t end, std::int32_t sourceLength, std::int32_t length) {
  const double ratio = static_cast<double>(length) / sourceLength;
  return {.first = std::max(0, static_cast<std::int32_t>(std::floor((first - reach) * ratio))),
          .end = std::min(length, static_cast<std::int32_t>(std::ceil((end + reach) * ratio)))};
}

}  // namespace

void PictureScaler::addScaled(const PixelRegion& source, PixelRegion& result) const {
  for (const pixman_box32_t& box : source.boxes()) {
    const Span columns = scaledSpan(box.x1, box.x2, sourceWidth_, width_);
    const Span rows = scaledSpan(box.y1, box.y2, sourceHeight_, height_);
    result.add(
        {.x = columns.first, .y = rows.first, .width = columns.end - columns.first, .height = rows.end - rows.first});
  }
}

void PictureScaler::scale(const PicturePixels& source, const PicturePixels& result, const PixelRegion& stale) const {
  pixman_image_t* const from = imageOf(source);
  pixman_image_t* const to = imageOf(result);
  if (from && to) {
    pixman_transform_t transform;
    pixman_transform_init_scale(&transform, pixman_double_to_fixed(static_cast<double>(sourceWidth_) / width_),
                                pixman_double_to_fixed(static_cast<double>(sourceHeight_) / height_));
    pixman_image_set_transform(from, &transform);
    pixman_image_set_repeat(from, PIXMAN_REPEAT_PAD);
    pixman_image_set_filter(from, PIXMAN_FILTER_BILINEAR, nullptr, 0);
    for (const pixman_box32_t& box : stale.boxes()) {
      pixman_image_composite32(PIXMAN_OP_SRC, from, nullptr, to, box.x1, box.y1, 0, 0, box.x1, box.y1, box.x2 - box.x1,
                               box.y2 - box.y1);
    }
  }
  if (from) pixman_image_unref(from);
  if (to) pixman_image_unref(to);
}

}  // namespace tandemview
