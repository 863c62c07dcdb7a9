#pragma once

#include <optional>
#include <vector>

#include "display/DisplaySystem.h"

namespace tandemview {

struct DisplayPoint {
  double x = 0;
  double y = 0;

  bool operator==(const DisplayPoint&) const = default;
};

/// Where `own` has to move so that it no longer lies over the first of `others` that it overlaps: beside it, on the
/// side where most of it is already. Absent if it overlaps none; screens that merely touch don't overlap.
std::optional<DisplayPoint> overlapOrigin(const DisplayRectangle& own, const std::vector<DisplayRectangle>& others);

/// Where `own` has to move so that it lies over none of `others`: where overlapOrigin() says, and from there on the
/// same way, beside each screen that it would lie over; to the right where the left would lead beyond `leftEdge`.
/// Absent if it overlaps none.
std::optional<DisplayPoint> clearOrigin(const DisplayRectangle& own, const std::vector<DisplayRectangle>& others,
                                        double leftEdge);

}  // namespace tandemview
