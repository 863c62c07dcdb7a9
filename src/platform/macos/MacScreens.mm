#import "platform/macos/MacScreens.h"

#import <CoreGraphics/CoreGraphics.h>

namespace tandemview {

std::optional<std::uint32_t> MacScreens::activeDisplayCount() const {
  std::uint32_t count = 0;
  if (CGGetActiveDisplayList(0, nullptr, &count) != kCGErrorSuccess) return std::nullopt;
  return count;
}

std::optional<std::vector<DisplayID>> MacScreens::activeDisplays(std::uint32_t limit) const {
  std::vector<DisplayID> displays(limit);
  std::uint32_t count = 0;
  if (CGGetActiveDisplayList(limit, displays.data(), &count) != kCGErrorSuccess) return std::nullopt;
  displays.resize(count);
  return displays;
}

ScreenRectangle MacScreens::bounds(DisplayID display) const {
  const CGRect bounds = CGDisplayBounds(display);
  if (CGRectIsNull(bounds) || CGRectIsInfinite(bounds)) return {};
  return {bounds.origin.x, bounds.origin.y, bounds.size.width, bounds.size.height};
}

PixelSize MacScreens::pixelSize(DisplayID display) const {
  return {static_cast<std::int64_t>(CGDisplayPixelsWide(display)),
          static_cast<std::int64_t>(CGDisplayPixelsHigh(display))};
}

bool MacScreens::isMain(DisplayID display) const {
  return CGDisplayIsMain(display);
}

}  // namespace tandemview
