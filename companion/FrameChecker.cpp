#include "companion/FrameChecker.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

#include "companion/ClockPattern.h"

namespace tandemview {

namespace {

constexpr std::size_t timestampSize = sizeof(double);
constexpr std::array startOfImage = {std::byte{0xFF}, std::byte{0xD8}};
constexpr std::array endOfImage = {std::byte{0xFF}, std::byte{0xD9}};

/// Rows of the clock pattern at an eighth of the size.
constexpr std::size_t patternRows = ClockPattern::height / 8;

template <typename... Arguments>
tl::unexpected<std::string> fault(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  return tl::unexpected<std::string>(fmt::format(format, std::forward<Arguments>(arguments)...));
}

/// Little-endian on the wire.
double timestampOf(std::span<const std::byte> payload) {
  std::uint64_t bits = 0;
  for (std::size_t index = timestampSize; index-- > 0;)
    bits = bits << 8 | std::to_integer<std::uint64_t>(payload[index]);
  return std::bit_cast<double>(bits);
}

}  // namespace

FrameChecker::FrameChecker(FrameSize expected) : sizes_{expected} {}

void FrameChecker::expectSize(FrameSize size) {
  if (sizes_.back() != size) sizes_.push_back(size);
}

void FrameChecker::connectionDidStart() {
  lastTimestamp_ = std::nullopt;
}

tl::expected<CheckedFrame, std::string> FrameChecker::check(std::span<const std::byte> payload, double now) {
  if (payload.size() < timestampSize) return fault("a frame of only {} bytes", payload.size());
  CheckedFrame frame;
  frame.timestamp = timestampOf(payload);
  if (!std::isfinite(frame.timestamp) || frame.timestamp > now) {
    return fault("a frame's timestamp {} lies in the future of {}", frame.timestamp, now);
  }
  if (lastTimestamp_ && frame.timestamp <= *lastTimestamp_) {
    return fault("a frame's timestamp {} does not grow beyond {}", frame.timestamp, *lastTimestamp_);
  }
  lastTimestamp_ = frame.timestamp;

  const std::span<const std::byte> image = payload.subspan(timestampSize);
  const bool isComplete = image.size() >= 4 && std::ranges::equal(image.first(2), startOfImage) &&
                          std::ranges::equal(image.last(2), endOfImage);
  if (!isComplete) return fault("a frame is no complete JPEG image");
  const std::optional<FrameSize> size = reader_.open(image);
  if (!size) return fault("a frame's JPEG header is damaged");
  if (!acceptSize(*size)) {
    return fault("a frame of {} instead of {}", size->text(), sizes_.back().text());
  }
  frame.size = *size;
  const std::size_t rows = std::min<std::size_t>(patternRows, static_cast<std::size_t>((size->height + 7) / 8));
  if (!reader_.readTopAtAnEighth(rows, luminance_)) return fault("a frame's JPEG data is damaged");
  frame.clockTicks = clockTicks(*size);
  return frame;
}

bool FrameChecker::acceptSize(FrameSize size) {
  const auto found = std::ranges::find(sizes_, size);
  if (found == sizes_.end()) return false;
  sizes_.erase(sizes_.begin(), found);
  return true;
}

std::optional<std::uint32_t> FrameChecker::clockTicks(FrameSize size) const {
  if (size.width < ClockPattern::width || size.height < ClockPattern::height) return std::nullopt;
  const std::size_t stride = static_cast<std::size_t>((size.width + 7) / 8);
  constexpr std::size_t side = ClockPattern::blockSize / 8;
  ClockPattern::Luminances blocks;
  for (std::size_t index = 0; index < blocks.size(); ++index) {
    const std::size_t left = index % ClockPattern::columns * side;
    const std::size_t top = index / ClockPattern::columns * side;
    unsigned sum = 0;
    for (std::size_t y = top; y < top + side; ++y) {
      for (std::size_t x = left; x < left + side; ++x) sum += luminance_[y * stride + x];
    }
    blocks[index] = static_cast<std::uint8_t>(sum / (side * side));
  }
  return ClockPattern::read(blocks);
}

}  // namespace tandemview
