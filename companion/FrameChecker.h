#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string>
#include <tl/expected.hpp>
#include <vector>

#include "companion/FrameSize.h"
#include "companion/JpegReader.h"

namespace tandemview {

/// What a frame that passed its checks says about itself.
struct CheckedFrame {
  double timestamp = 0;  // of the host's clock, when it was ready to be sent
  FrameSize size;
  std::optional<std::uint32_t> clockTicks;  // of the clock pattern, if the picture shows one
};

/// Checks video frames: a timestamp that grows within a connection, a complete JPEG image and the size that the phone
/// may expect. After a change of the expected size, frames of the old one are right until the first of the new one.
class FrameChecker {
 public:
  explicit FrameChecker(FrameSize expected);

  /// From now on the host is to send frames of this size.
  void expectSize(FrameSize size);
  void connectionDidStart();

  /// Checks the payload of a video frame received at `now`. The error is a line for people.
  tl::expected<CheckedFrame, std::string> check(std::span<const std::byte> payload, double now);

 private:
  bool acceptSize(FrameSize size);
  std::optional<std::uint32_t> clockTicks(FrameSize size) const;

  /// The size in use and those announced since, oldest first; the host may skip some, but never goes back.
  std::deque<FrameSize> sizes_;
  std::optional<double> lastTimestamp_;
  JpegReader reader_;
  std::vector<std::uint8_t> luminance_;
};

}  // namespace tandemview
