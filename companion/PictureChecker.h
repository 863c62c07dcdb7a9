#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <semaphore>
#include <string>
#include <vector>

#include "companion/FrameSize.h"
#include "companion/JpegReader.h"
#include "runtime/Data.h"
#include "runtime/SerialQueue.h"

namespace tandemview {

/// Decodes whole pictures to see whether they are sound, on a thread of its own, so that what arrives meanwhile gets
/// its true time. Lives on the main queue.
class PictureChecker {
 public:
  struct Finding {
    bool isDamaged = false;
    std::optional<std::uint32_t> clockTicks;  // of the clock pattern, if the picture shows one
  };

  explicit PictureChecker(std::shared_ptr<Queue> mainQueue) : mainQueue_(std::move(mainQueue)) {}
  ~PictureChecker() { queue_->stopAndJoin(); }
  PictureChecker(const PictureChecker&) = delete;
  PictureChecker& operator=(const PictureChecker&) = delete;

  /// Looks into a JPEG image (contiguous) and calls `completion` on the main queue, in the order of the calls. Waits
  /// while too many images are under way: what comes faster than it can be checked is read slower.
  void check(const Data& image, std::function<void(const Finding&)> completion);

 private:
  /// Of what arrives at once, none waits; what they keep stays bounded.
  static constexpr std::ptrdiff_t mostUnderWay = 16;

  Finding find(const Data& image);

  const std::shared_ptr<Queue> mainQueue_;
  std::counting_semaphore<mostUnderWay> room_{mostUnderWay};
  JpegReader reader_;  // of the checking queue, as what follows
  std::vector<std::uint8_t> luminance_;
  const std::shared_ptr<SerialQueue> queue_ = SerialQueue::withThread("companion.checking");
};

}  // namespace tandemview
