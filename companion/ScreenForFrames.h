#pragma once

#include <optional>
#include <string>

#include "companion/FrameSize.h"

namespace tandemview {

/// The screen that a phone of this idiom describes for frames of `wanted`, so that these can be shown pixel by pixel;
/// an odd side gets the even one below. Absent: no description leads there, as when the longer side is below 640, or
/// the screen's would be beyond longestScreenSide.
std::optional<FrameSize> screenForFrames(FrameSize wanted, const std::optional<std::string>& idiom,
                                         bool fullResolution);

}  // namespace tandemview
