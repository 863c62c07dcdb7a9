#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "screens/ScreenRectangle.h"

namespace tandemview {

/// The system's number of a display. Stable for as long as the display exists.
using DisplayID = std::uint32_t;

struct PixelSize {
  std::int64_t width = 0;
  std::int64_t height = 0;

  bool operator==(const PixelSize&) const = default;
};

/// Which displays show a picture, and where: asked by whatever arranges displays, captures one or aims at one. From any
/// thread; asked anew each time.
class Screens {
 public:
  virtual ~Screens() = default;

  /// How many displays show a picture, and which, in the system's order, at most `limit` of them. Absent on failure.
  virtual std::optional<std::uint32_t> activeDisplayCount() const = 0;
  virtual std::optional<std::vector<DisplayID>> activeDisplays(std::uint32_t limit) const = 0;

  /// Empty for a display that the system doesn't know.
  virtual ScreenRectangle bounds(DisplayID display) const = 0;
  virtual PixelSize pixelSize(DisplayID display) const = 0;

  /// Whether it is the one that the user looks at first.
  virtual bool isMain(DisplayID display) const = 0;
};

}  // namespace tandemview
