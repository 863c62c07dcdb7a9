#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "companion/FrameSize.h"
#include "companion/Picture.h"

namespace tandemview {

/// Reads JPEG images, or just as much of them as is asked for. Keeps its buffers from image to image.
class JpegReader {
 public:
  JpegReader();
  ~JpegReader();
  JpegReader(const JpegReader&) = delete;
  JpegReader& operator=(const JpegReader&) = delete;

  /// Starts on an image by reading its header, which tells its size; absent if it is no JPEG image, or not one whose
  /// cost its size bounds: baseline, with one scan, of at most 16384 pixels a side and 64 million in all. The bytes
  /// must stay valid until one of the operations below is through.
  std::optional<FrameSize> open(std::span<const std::byte> bytes);

  /// The luminance of the image at an eighth of its size, each row as wide as an eighth of the image, rounded up: the
  /// cheapest way to read all of it. False if it is damaged. Ends the image.
  bool readAtAnEighth(std::vector<std::uint8_t>& luminance);

  /// The whole image: planar if it is coded so, which saves the conversion. False if it is damaged. Ends the image.
  bool readPicture(Picture& picture);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tandemview
