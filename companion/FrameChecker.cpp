#include "companion/FrameChecker.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "companion/Timestamp.h"

namespace tandemview {

namespace {

constexpr std::array startOfImage = {std::byte{0xFF}, std::byte{0xD8}};
constexpr std::array endOfImage = {std::byte{0xFF}, std::byte{0xD9}};

bool isComplete(std::span<const std::byte> image) {
  return image.size() >= 4 && std::ranges::equal(image.first(2), startOfImage) &&
         std::ranges::equal(image.last(2), endOfImage);
}

}  // namespace

FrameChecker::FrameChecker(FrameSize expected) : sizes_{expected} {}

void FrameChecker::expectSize(FrameSize size) {
  if (sizes_.back() == size) return;
  sizes_.push_back(size);
  startWaiting();
}

void FrameChecker::connectionDidStart() {
  lastTimestamp_ = std::nullopt;
  startWaiting();
}

void FrameChecker::startWaiting() {
  isWaiting_ = true;
  ++waits_;
}

CheckedFrame FrameChecker::check(std::span<const std::byte> payload, double now, const HostClock& hostClock) {
  CheckedFrame frame;
  const auto fault = [&](const char* kind, std::string text) { frame.faults.push_back({kind, std::move(text)}); };
  if (payload.size() < timestampSize) {
    fault("picture", fmt::format("a frame of only {} bytes", payload.size()));
    return frame;
  }
  frame.timestamp = timestampFrom(payload.first<timestampSize>());
  checkTimestamp(frame, now, hostClock);

  const std::span<const std::byte> image = payload.subspan(timestampSize);
  if (!isComplete(image)) fault("picture", "a frame is no complete JPEG image");
  frame.size = reader_.open(image);
  if (!frame.size) {
    fault("picture", "a frame's JPEG header is damaged, or not that of a baseline image with one scan");
  } else if (!acceptSize(*frame.size)) {
    fault("size", fmt::format("a frame of {} instead of {}", frame.size->text(), sizes_.back().text()));
  }
  return frame;
}

void FrameChecker::checkTimestamp(CheckedFrame& frame, double now, const HostClock& hostClock) {
  const auto fault = [&](std::string text) { frame.faults.push_back({"timestamp", std::move(text)}); };
  if (!std::isfinite(frame.timestamp)) return fault(fmt::format("a frame's timestamp is {}", frame.timestamp));
  if (const auto offset = hostClock.offset()) {
    const double hostTime = now + *offset;
    if (frame.timestamp > hostTime + hostClock.uncertainty(now)) {
      fault(fmt::format("a frame's timestamp {} lies in the future of {}", frame.timestamp, hostTime));
    }
  }
  if (lastTimestamp_ && frame.timestamp <= *lastTimestamp_) {
    fault(fmt::format("a frame's timestamp {} does not grow beyond {}", frame.timestamp, *lastTimestamp_));
  }
  lastTimestamp_ = frame.timestamp;
}

bool FrameChecker::acceptSize(FrameSize size) {
  const auto found = std::ranges::find(sizes_, size);
  if (found == sizes_.end()) return false;
  sizes_.erase(sizes_.begin(), found);
  if (size == sizes_.back()) isWaiting_ = false;
  return true;
}

}  // namespace tandemview
