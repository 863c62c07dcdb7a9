#pragma once

#include <pixman.h>

#include <span>

#include "capture/PixelBuffer.h"

namespace tandemview {

/// A set of pixels, as rectangles that don't overlap.
class PixelRegion {
 public:
  PixelRegion() { pixman_region32_init(&region_); }
  explicit PixelRegion(const PixelRectangle& rectangle) : PixelRegion() { add(rectangle); }
  PixelRegion(const PixelRegion&) = delete;
  PixelRegion& operator=(const PixelRegion&) = delete;
  ~PixelRegion() { pixman_region32_fini(&region_); }

  bool isEmpty() const { return !pixman_region32_not_empty(get()); }
  void clear() { pixman_region32_clear(&region_); }
  void add(const PixelRectangle& rectangle);
  void add(const PixelRegion& other);

  /// The same for many at once; they may overlap.
  void add(std::span<const pixman_box32_t> boxes);

  /// Keeps what lies in (0, 0) to (width, height).
  void clipTo(std::int32_t width, std::int32_t height);

  /// The rectangles, from top to bottom and, in rows of equal height, from left to right.
  std::span<const pixman_box32_t> boxes() const;

  /// The same for callers of the pixel library, which takes a constant region as a variable one.
  pixman_region32_t* get() const { return const_cast<pixman_region32_t*>(&region_); }

 private:
  pixman_region32_t region_;
};

}  // namespace tandemview
