#include "companion/ScreenForFrames.h"

#include <algorithm>
#include <cmath>

#include "protocol/DisplayPlan.h"

namespace tandemview {

namespace {

/// What a display's side may be of the screen's.
constexpr double shares[] = {1, 0.75, 0.5};

/// A host that computes the short side from the long one and the proportion may end a pixel short; these on top of it
/// keep it from that, and are cut off with the fractions.
constexpr std::int64_t mostExtra = 2;

}  // namespace

std::optional<FrameSize> screenForFrames(FrameSize wanted, const std::optional<std::string>& idiom,
                                         bool fullResolution) {
  wanted = {wanted.width / 2 * 2, wanted.height / 2 * 2};
  for (const double share : shares) {
    for (std::int64_t extra = 0; extra <= mostExtra; ++extra) {
      const auto side = [share](std::int64_t pixels) {
        return static_cast<std::int64_t>(std::ceil(static_cast<double>(pixels) / share));
      };
      FrameSize screen{side(wanted.width), side(wanted.height)};
      (screen.width < screen.height ? screen.width : screen.height) += extra;
      if (screen.width < 1 || screen.height < 1) return std::nullopt;
      if (std::max(screen.width, screen.height) > longestScreenSide) continue;
      const MacProtocol::DisplayPlan plan = makeDisplayPlan(screen.width, screen.height, idiom, fullResolution);
      if (FrameSize{plan.width, plan.height} == wanted) return screen;
    }
  }
  return std::nullopt;
}

}  // namespace tandemview
