#pragma once

#include <optional>
#include <vector>

#include "screens/ScreenRectangle.h"

namespace tandemview {

/// Where `own` has to move so that it no longer lies over the first of `others` that it overlaps: beside it, on the
/// side where most of it is already. Absent if it overlaps none; screens that merely touch don't overlap.
std::optional<ScreenPoint> overlapOrigin(const ScreenRectangle& own, const std::vector<ScreenRectangle>& others);

/// Where `own` has to move so that it lies over none of `others`: where overlapOrigin() says, and from there on the
/// same way, beside each screen that it would lie over; to the right where the left would lead beyond `leftEdge`.
/// Absent if it overlaps none.
std::optional<ScreenPoint> clearOrigin(const ScreenRectangle& own, const std::vector<ScreenRectangle>& others,
                                       double leftEdge);

}  // namespace tandemview
