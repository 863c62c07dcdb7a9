#pragma once

#include <memory>
#include <optional>

#include "capture/PixelBuffer.h"
#include "runtime/Data.h"

namespace tandemview {

/// The system's JPEG encoder. Used from one thread at a time, for every picture of a stream and in their order, so that
/// what a picture's damage leaves out need not be encoded again.
class ImageEncoder {
 public:
  virtual ~ImageEncoder() = default;

  /// Whether a graphics processor does the work.
  virtual bool isAccelerated() const = 0;

  /// One complete JPEG image with exactly the buffer's width and height, in device RGB. `quality` from 0 to 1.
  /// Absent if the picture can't be encoded. The result may come from buffers that are reused once the last owner of
  /// the data has let go, and share them with the results before.
  virtual std::optional<Data> jpegRepresentation(const std::shared_ptr<PixelBuffer>& buffer, double quality) = 0;

  /// The last picture has come to rest: its image once more, if it can be had better now than while every moment
  /// counted. Absent if not. For this an encoder may keep the last picture until the next one; it lets go here.
  virtual std::optional<Data> restingRepresentation() = 0;
};

}  // namespace tandemview
