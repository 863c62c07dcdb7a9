#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <vector>

#include "companion/Fault.h"
#include "companion/FrameSize.h"
#include "companion/HostClock.h"
#include "companion/JpegReader.h"

namespace tandemview {

/// What a frame says about itself, as far as it is to be understood, and what is wrong with it.
struct CheckedFrame {
  double timestamp = 0;  // of the host's clock, when it was ready to be sent
  std::optional<FrameSize> size;
  std::vector<Fault> faults;
};

/// Checks what stands around the pictures of video frames: a timestamp that grows within a connection, the ends of a
/// JPEG image and the size that the phone may expect. After a change of the expected size, frames of the old one are
/// right until the first of the new one.
class FrameChecker {
 public:
  explicit FrameChecker(FrameSize expected);

  /// From now on the host is to send frames of this size.
  void expectSize(FrameSize size);
  void connectionDidStart();

  /// While no frame of the expected size has come since it was asked for or the connection started: the number of this
  /// wait, which no other has.
  std::optional<std::uint64_t> wait() const { return isWaiting_ ? std::optional(waits_) : std::nullopt; }

  /// Checks the payload of a video frame received at `now`.
  CheckedFrame check(std::span<const std::byte> payload, double now, const HostClock& hostClock);

 private:
  void startWaiting();
  void checkTimestamp(CheckedFrame& frame, double now, const HostClock& hostClock);
  bool acceptSize(FrameSize size);

  /// The size in use and those announced since, oldest first; the host may skip some, but never goes back.
  std::deque<FrameSize> sizes_;
  bool isWaiting_ = true;
  std::uint64_t waits_ = 0;
  std::optional<double> lastTimestamp_;
  JpegReader reader_;
};

}  // namespace tandemview
