#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "companion/FrameSize.h"

namespace tandemview {

/// Reads JPEG images, or just as much of them as is asked for. Keeps its buffers from image to image.
class JpegReader {
 public:
  JpegReader();
  ~JpegReader();
  JpegReader(const JpegReader&) = delete;
  JpegReader& operator=(const JpegReader&) = delete;

  /// Starts on an image by reading its header, which tells its size; absent if it is no JPEG image. The bytes must
  /// stay valid until one of the operations below is through.
  std::optional<FrameSize> open(std::span<const std::byte> bytes);

  /// The luminance of the image at an eighth of its size, which costs next to nothing: the first `rows` rows, each
  /// as wide as an eighth of the image, rounded up. False if these rows are damaged. Ends the image.
  bool readTopAtAnEighth(std::size_t rows, std::vector<std::uint8_t>& luminance);

  /// The whole image as 32-bit pixels (blue, green, red, unused). False if it is damaged. Ends the image.
  bool readPixels(std::vector<std::uint8_t>& pixels);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tandemview
