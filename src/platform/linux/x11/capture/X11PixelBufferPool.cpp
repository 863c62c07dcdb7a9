#include "platform/linux/x11/capture/X11PixelBufferPool.h"

#include <algorithm>
#include <utility>

namespace tandemview {

void X11PixelBuffer::setDamage(const PixelRegion& damage) {
  damage_.clear();
  for (const pixman_box32_t& box : damage.boxes()) {
    damage_.push_back({.x = box.x1, .y = box.y1, .width = box.x2 - box.x1, .height = box.y2 - box.y1});
  }
}

void X11PixelBufferPool::add(std::unique_ptr<X11PixelBuffer> buffer) {
  const std::lock_guard lock(mutex_);
  free_.push_back(buffer.get());
  buffers_.push_back(std::move(buffer));
}

void X11PixelBufferPool::addStale(const PixelRegion& changed) {
  for (const auto& buffer : buffers_) buffer->pixels().stale.add(changed);
}

X11PixelBuffer* X11PixelBufferPool::freeBuffer(const std::function<void()>& returned) {
  const std::lock_guard lock(mutex_);
  if (!free_.empty()) return free_.back();
  returned_ = returned;
  return nullptr;
}

std::shared_ptr<PixelBuffer> X11PixelBufferPool::lend(X11PixelBuffer& buffer) {
  const std::lock_guard lock(mutex_);
  std::erase(free_, &buffer);
  return {&buffer, [pool = shared_from_this()](X11PixelBuffer* returned) { pool->takeBack(*returned); }};
}

void X11PixelBufferPool::cancelWait() {
  const std::lock_guard lock(mutex_);
  returned_ = nullptr;
}

void X11PixelBufferPool::takeBack(X11PixelBuffer& buffer) {
  const std::lock_guard lock(mutex_);
  free_.push_back(&buffer);
  if (const auto returned = std::exchange(returned_, nullptr)) returned();
}

}  // namespace tandemview
