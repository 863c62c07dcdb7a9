#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

namespace tandemview {

/// Buffers of bytes that are used again once their last owner has let go, so that a steady stream allocates nothing.
/// From any thread.
class BufferPool : public std::enable_shared_from_this<BufferPool> {
 public:
  /// `kept`: how many unused buffers are kept at most.
  static std::shared_ptr<BufferPool> keeping(std::size_t kept);

  /// At least `size` bytes of indeterminate content.
  std::shared_ptr<std::byte[]> take(std::size_t size);

 private:
  struct Buffer {
    std::unique_ptr<std::byte[]> bytes;
    std::size_t size = 0;
  };

  explicit BufferPool(std::size_t kept) : kept_(kept) {}
  void takeBack(Buffer buffer);

  const std::size_t kept_;
  std::mutex mutex_;  // guards unused_
  std::vector<Buffer> unused_;
};

}  // namespace tandemview
