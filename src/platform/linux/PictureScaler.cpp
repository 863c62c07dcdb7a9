#include "platform/linux/PictureScaler.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace tandemview {

namespace {

/// Positions of the filter within a pixel, as a power of two.
constexpr int subpixelBits = 4;

pixman_image_t* imageOf(const SharedPixels& pixels) {
  return pixman_image_create_bits(PIXMAN_x8r8g8b8, pixels.width(), pixels.height(),
                                  reinterpret_cast<std::uint32_t*>(pixels.bytes()),
                                  static_cast<int>(pixels.bytesPerRow()));
}

/// The pixels of a row of `length` that depend on those from `first` to `end` of a row of `sourceLength`.
struct Span {
  std::int32_t first;
  std::int32_t end;
};
Span scaledSpan(std::int32_t first, std::int32_t end, std::int32_t sourceLength, std::int32_t length) {
  const double ratio = static_cast<double>(length) / sourceLength;
  const double reach = std::max(1.0, 1 / ratio) + 1;  // half a filter's width, and a pixel for its rounding
  return {.first = std::max(0, static_cast<std::int32_t>(std::floor((first - reach) * ratio))),
          .end = std::min(length, static_cast<std::int32_t>(std::ceil((end + reach) * ratio)))};
}

}  // namespace

PictureScaler::PictureScaler(std::int32_t sourceWidth, std::int32_t sourceHeight, std::int32_t width,
                             std::int32_t height)
    : sourceWidth_(sourceWidth), sourceHeight_(sourceHeight), width_(width), height_(height) {
  filter_ = pixman_filter_create_separable_convolution(
      &filterSize_, pixman_double_to_fixed(std::max(1.0, static_cast<double>(sourceWidth) / width)),
      pixman_double_to_fixed(std::max(1.0, static_cast<double>(sourceHeight) / height)), PIXMAN_KERNEL_LINEAR,
      PIXMAN_KERNEL_LINEAR, PIXMAN_KERNEL_BOX, PIXMAN_KERNEL_BOX, subpixelBits, subpixelBits);
}

PictureScaler::~PictureScaler() {
  std::free(filter_);
}

void PictureScaler::addScaled(const PixelRegion& source, PixelRegion& result) const {
  for (const pixman_box32_t& box : source.boxes()) {
    const Span columns = scaledSpan(box.x1, box.x2, sourceWidth_, width_);
    const Span rows = scaledSpan(box.y1, box.y2, sourceHeight_, height_);
    result.add(
        {.x = columns.first, .y = rows.first, .width = columns.end - columns.first, .height = rows.end - rows.first});
  }
}

void PictureScaler::scale(const SharedPixels& source, SharedPixels& result) const {
  pixman_image_t* const from = imageOf(source);
  pixman_image_t* const to = imageOf(result);
  if (from && to) {
    pixman_transform_t transform;
    pixman_transform_init_scale(&transform, pixman_double_to_fixed(static_cast<double>(sourceWidth_) / width_),
                                pixman_double_to_fixed(static_cast<double>(sourceHeight_) / height_));
    pixman_image_set_transform(from, &transform);
    pixman_image_set_repeat(from, PIXMAN_REPEAT_PAD);
    pixman_image_set_filter(from, PIXMAN_FILTER_SEPARABLE_CONVOLUTION, filter_, filterSize_);
    for (const pixman_box32_t& box : result.stale.boxes()) {
      pixman_image_composite32(PIXMAN_OP_SRC, from, nullptr, to, box.x1, box.y1, 0, 0, box.x1, box.y1, box.x2 - box.x1,
                               box.y2 - box.y1);
    }
  }
  if (from) pixman_image_unref(from);
  if (to) pixman_image_unref(to);
  result.stale.clear();
}

}  // namespace tandemview
