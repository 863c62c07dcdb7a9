#import "platform/macos/MacPixelBuffer.h"

namespace tandemview {

MacPixelBuffer::MacPixelBuffer(CVPixelBufferRef buffer)
    : buffer_(CVPixelBufferRetain(buffer)),
      damage_(1, {0, 0, static_cast<std::int32_t>(width()), static_cast<std::int32_t>(height())}) {}

MacPixelBuffer::~MacPixelBuffer() {
  if (isLocked_) CVPixelBufferUnlockBaseAddress(get(), kCVPixelBufferLock_ReadOnly);
}

std::int64_t MacPixelBuffer::width() const {
  return static_cast<std::int64_t>(CVPixelBufferGetWidth(get()));
}

std::int64_t MacPixelBuffer::height() const {
  return static_cast<std::int64_t>(CVPixelBufferGetHeight(get()));
}

std::size_t MacPixelBuffer::bytesPerRow() const {
  return CVPixelBufferGetBytesPerRow(get());
}

const std::byte* MacPixelBuffer::baseAddress() const {
  std::call_once(locking_, [this] {
    isLocked_ = CVPixelBufferLockBaseAddress(get(), kCVPixelBufferLock_ReadOnly) == kCVReturnSuccess;
  });
  return static_cast<const std::byte*>(CVPixelBufferGetBaseAddress(get()));
}

}  // namespace tandemview
