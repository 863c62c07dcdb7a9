#include "platform/linux/picture/BufferPool.h"

#include <utility>

namespace tandemview {

std::shared_ptr<BufferPool> BufferPool::keeping(std::size_t kept) {
  return std::shared_ptr<BufferPool>(new BufferPool(kept));
}

std::shared_ptr<std::byte[]> BufferPool::take(std::size_t size) {
  Buffer buffer;
  {
    const std::lock_guard lock(mutex_);
    // A buffer that is too small was made for other pictures: there will be no use for it.
    while (!unused_.empty() && buffer.size < size) {
      buffer = std::move(unused_.back());
      unused_.pop_back();
    }
  }
  if (buffer.size < size) buffer = {.bytes = std::make_unique_for_overwrite<std::byte[]>(size), .size = size};
  return {buffer.bytes.release(), [pool = shared_from_this(), capacity = buffer.size](std::byte* bytes) {
            pool->takeBack({.bytes = std::unique_ptr<std::byte[]>(bytes), .size = capacity});
          }};
}

void BufferPool::takeBack(Buffer buffer) {
  const std::lock_guard lock(mutex_);
  if (unused_.size() < kept_) unused_.push_back(std::move(buffer));
}

}  // namespace tandemview
