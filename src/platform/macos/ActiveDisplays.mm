#import "platform/macos/ActiveDisplays.h"

namespace tandemview {

std::optional<std::uint32_t> activeDisplayCount() {
  std::uint32_t count = 0;
  if (CGGetActiveDisplayList(0, nullptr, &count) != kCGErrorSuccess) return std::nullopt;
  return count;
}

std::optional<std::vector<std::uint32_t>> activeDisplayList(std::uint32_t limit) {
  std::vector<std::uint32_t> displays(limit);
  std::uint32_t count = 0;
  if (CGGetActiveDisplayList(limit, displays.data(), &count) != kCGErrorSuccess) return std::nullopt;
  displays.resize(count);
  return displays;
}

CGRect displayBounds(std::uint32_t display) {
  const CGRect bounds = CGDisplayBounds(display);
  return CGRectIsNull(bounds) || CGRectIsInfinite(bounds) ? CGRectZero : bounds;
}

}  // namespace tandemview
