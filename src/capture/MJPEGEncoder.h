#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

#include "capture/ImageEncoder.h"
#include "runtime/Data.h"
#include "runtime/MediaClock.h"

namespace tandemview {

/// Turns pictures into the frames that travel: 8 bytes of timestamp (the media clock in seconds when the JPEG was
/// done, a little-endian double) and one complete JPEG. encode() is called on one thread at a time.
class MJPEGEncoder {
 public:
  MJPEGEncoder(std::unique_ptr<ImageEncoder> imageEncoder, std::shared_ptr<const MediaClock> clock);

  /// Receives each frame, within encode(). Set before the first picture.
  std::function<void(const Data&)> onEncodedData;

  /// From 0 to 1; may be changed between frames, from any thread.
  std::atomic<double> jpegQuality = 0.5;

  /// A picture that can't be encoded gives no frame.
  void encode(const std::shared_ptr<PixelBuffer>& buffer);

  /// The last picture rests: gives one more frame if that shows it better. On the thread of encode().
  void encodeAtRest();

 private:
  void handOut(const std::optional<Data>& image);

  const std::unique_ptr<ImageEncoder> imageEncoder_;
  const std::shared_ptr<const MediaClock> clock_;
};

}  // namespace tandemview
