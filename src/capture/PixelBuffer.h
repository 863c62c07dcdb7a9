#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tandemview {

/// Pixels of a picture: origin at its upper left corner.
struct PixelRectangle {
  std::int32_t x = 0;
  std::int32_t y = 0;
  std::int32_t width = 0;
  std::int32_t height = 0;

  bool operator==(const PixelRectangle&) const = default;
};

/// One captured picture: 32 bits a pixel, in memory order blue, green, red and a byte without meaning. The capture
/// reuses the memory once the last owner has let go.
class PixelBuffer {
 public:
  virtual ~PixelBuffer() = default;

  virtual std::int64_t width() const = 0;
  virtual std::int64_t height() const = 0;
  virtual std::size_t bytesPerRow() const = 0;

  /// The first row. Valid for the buffer's lifetime; not changed while the buffer has an owner.
  virtual const std::byte* baseAddress() const = 0;

  /// What differs from the stream's previous picture; all of it in a stream's first. Never empty.
  virtual const std::vector<PixelRectangle>& damage() const = 0;
};

}  // namespace tandemview
