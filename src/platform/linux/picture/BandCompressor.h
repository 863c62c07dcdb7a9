#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "capture/PixelBuffer.h"

namespace tandemview {

/// What a picture's bands have in common.
struct BandForm {
  std::int32_t width = 0;
  std::int32_t height = 0;  // of the whole picture
  int quality = 0;          // per cent
  bool hasFullColor = false;

  bool operator==(const BandForm&) const = default;
};

/// Compresses runs of a picture's rows as the parts of one JPEG. Used on one thread at a time.
class BandCompressor {
 public:
  BandCompressor();

  struct Band {
    std::span<std::byte> head;  // from the start of the image through the header of its scan
    std::span<std::byte> scan;  // the entropy-coded bytes and a marker of 2 bytes, the end of the image
  };

  /// The rows from `top` to `bottom` of a picture of the form's size. The head is that of a baseline image of the whole
  /// height. Valid until the next call; absent if the library can't, or can't in this way.
  std::optional<Band> compress(const PixelBuffer& picture, const BandForm& form, std::int32_t top, std::int32_t bottom);

 private:
  struct Deleter {
    void operator()(void* compressor) const;
  };

  std::unique_ptr<void, Deleter> compressor_;
  std::vector<std::byte> room_;  // for the worst case of the largest band so far
};

}  // namespace tandemview
