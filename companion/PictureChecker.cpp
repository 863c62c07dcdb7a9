#include "companion/PictureChecker.h"

#include "companion/ClockPattern.h"

namespace tandemview {

namespace {

/// Reads the clock pattern from the luminance of a picture at an eighth of its size.
std::optional<std::uint32_t> clockTicks(FrameSize size, const std::vector<std::uint8_t>& luminance) {
  if (size.width < ClockPattern::width || size.height < ClockPattern::height) return std::nullopt;
  const std::size_t stride = static_cast<std::size_t>((size.width + 7) / 8);
  constexpr std::size_t side = ClockPattern::blockSize / 8;
  ClockPattern::Luminances blocks;
  for (std::size_t index = 0; index < blocks.size(); ++index) {
    const std::size_t left = index % ClockPattern::columns * side;
    const std::size_t top = index / ClockPattern::columns * side;
    unsigned sum = 0;
    for (std::size_t y = top; y < top + side; ++y) {
      for (std::size_t x = left; x < left + side; ++x) sum += luminance[y * stride + x];
    }
    blocks[index] = static_cast<std::uint8_t>(sum / (side * side));
  }
  return ClockPattern::read(blocks);
}

}  // namespace

void PictureChecker::check(const Data& image, std::function<void(const Finding&)> completion) {
  room_.acquire();
  // The queue is ours and joined before anything else goes: `this` is alive.
  queue_->async([this, image, completion = std::move(completion)]() mutable {
    const Finding finding = find(image);
    room_.release();
    mainQueue_->async([finding, completion = std::move(completion)] { completion(finding); });
  });
}

PictureChecker::Finding PictureChecker::find(const Data& image) {
  const auto size = reader_.open(image.bytes());
  if (!size || !reader_.readAtAnEighth(luminance_)) return {.isDamaged = true};
  return {.clockTicks = clockTicks(*size, luminance_)};
}

}  // namespace tandemview
