#pragma once

#include <CoreVideo/CoreVideo.h>

#include <mutex>

#include "capture/PixelBuffer.h"
#include "platform/macos/CoreReference.h"

namespace tandemview {

/// A picture of ScreenCaptureKit, held and never copied.
class MacPixelBuffer final : public PixelBuffer {
 public:
  explicit MacPixelBuffer(CVPixelBufferRef buffer);
  ~MacPixelBuffer() override;

  CVPixelBufferRef get() const { return buffer_.get(); }

  std::int64_t width() const override;
  std::int64_t height() const override;
  std::size_t bytesPerRow() const override;
  /// Brings the picture into memory at the first call.
  const std::byte* baseAddress() const override;
  /// The whole picture: nothing here works on parts of one.
  const std::vector<PixelRectangle>& damage() const override { return damage_; }

 private:
  const CoreReference<CVPixelBufferRef> buffer_;
  const std::vector<PixelRectangle> damage_;
  mutable std::once_flag locking_;
  mutable bool isLocked_ = false;
};

}  // namespace tandemview
