#pragma once

#include <xcb/shm.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/linux/picture/PicturePixels.h"
#include "platform/linux/picture/PixelRegion.h"
#include "platform/linux/x11/server/X11Connection.h"
#include "runtime/Descriptor.h"
#include "runtime/Error.h"

namespace tandemview {

/// A picture of 32-bit pixels, without padding, in memory that an X server can be let write to. No trace of the memory
/// outlives the processes that use it.
class SharedPixels {
 public:
  /// Indeterminate pixels, all stale. Sizes are positive.
  static Result<std::unique_ptr<SharedPixels>> make(std::int32_t width, std::int32_t height);

  SharedPixels(const SharedPixels&) = delete;
  SharedPixels& operator=(const SharedPixels&) = delete;
  ~SharedPixels();

  /// Lets the server of `connection` write to the pixels, for as long as the connection lives.
  bool shareWith(const X11Connection& connection);

  /// What the server knows the pixels by; 0 before they are shared.
  xcb_shm_seg_t segment() const { return segment_; }

  std::int32_t width() const { return width_; }
  std::int32_t height() const { return height_; }
  std::size_t bytesPerRow() const { return static_cast<std::size_t>(width_) * 4; }
  std::byte* bytes() const { return bytes_; }
  PicturePixels pixels() const { return {bytes_, width_, height_, bytesPerRow()}; }

  /// Where the pixels are not what they should be. For the owner's use.
  PixelRegion stale;

 private:
  SharedPixels(std::int32_t width, std::int32_t height) : width_(width), height_(height) {}
  std::size_t size() const { return bytesPerRow() * static_cast<std::size_t>(height_); }

  const std::int32_t width_;
  const std::int32_t height_;
  Descriptor descriptor_;
  std::byte* bytes_ = nullptr;
  xcb_shm_seg_t segment_ = XCB_NONE;
};

}  // namespace tandemview
