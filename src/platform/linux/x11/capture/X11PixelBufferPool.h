#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "capture/PixelBuffer.h"
#include "platform/linux/x11/capture/SharedPixels.h"

namespace tandemview {

/// A captured picture in one of a pool's buffers.
class X11PixelBuffer final : public PixelBuffer {
 public:
  explicit X11PixelBuffer(std::unique_ptr<SharedPixels> pixels) : pixels_(std::move(pixels)) {}

  std::int64_t width() const override { return pixels_->width(); }
  std::int64_t height() const override { return pixels_->height(); }
  std::size_t bytesPerRow() const override { return pixels_->bytesPerRow(); }
  const std::byte* baseAddress() const override { return pixels_->bytes(); }
  const std::vector<PixelRectangle>& damage() const override { return damage_; }

  SharedPixels& pixels() { return *pixels_; }
  void setDamage(const PixelRegion& damage);

 private:
  const std::unique_ptr<SharedPixels> pixels_;
  std::vector<PixelRectangle> damage_;
};

/// The buffers of one stream. They are lent out, as many as there are, and come back when their last owner lets go,
/// on any thread. All operations are called on one thread; the pool lives until its last buffer has come back.
class X11PixelBufferPool : public std::enable_shared_from_this<X11PixelBufferPool> {
 public:
  void add(std::unique_ptr<X11PixelBuffer> buffer);

  /// Marks pixels that have changed, in lent buffers too.
  void addStale(const PixelRegion& changed);

  /// A buffer that nobody has; it stays the pool's until it is lent. Null if all are lent: then `returned` is called
  /// once, on any thread, as soon as one comes back.
  X11PixelBuffer* freeBuffer(const std::function<void()>& returned);

  std::shared_ptr<PixelBuffer> lend(X11PixelBuffer& buffer);

  /// Forgets who waits for a buffer; nobody is called any more when this returns.
  void cancelWait();

 private:
  void takeBack(X11PixelBuffer& buffer);

  std::vector<std::unique_ptr<X11PixelBuffer>> buffers_;

  std::mutex mutex_;  // guards what follows
  std::vector<X11PixelBuffer*> free_;
  std::function<void()> returned_;
};

}  // namespace tandemview
