#include "display/DisplayArrangement.h"

#include <algorithm>

namespace tandemview {

namespace {

bool overlap(const ScreenRectangle& left, const ScreenRectangle& right) {
  return std::min(left.maxX(), right.maxX()) > std::max(left.x, right.x) &&
         std::min(left.maxY(), right.maxY()) > std::max(left.y, right.y);
}

/// Null if there is none.
const ScreenRectangle* firstOverlapped(const ScreenRectangle& own, const std::vector<ScreenRectangle>& others) {
  const auto overlapped = std::ranges::find_if(others, [&own](const auto& other) { return overlap(own, other); });
  return overlapped == others.end() ? nullptr : &*overlapped;
}

double besideX(const ScreenRectangle& own, const ScreenRectangle& other, bool goesLeft) {
  return goesLeft ? other.x - own.width : other.maxX();
}

/// Always the same way: what has been passed is never met again, so that a step for each screen is enough.
double clearX(ScreenRectangle own, const std::vector<ScreenRectangle>& others, bool goesLeft) {
  for (std::size_t step = 0; step < others.size(); ++step) {
    const ScreenRectangle* const overlapped = firstOverlapped(own, others);
    if (!overlapped) break;
    own.x = besideX(own, *overlapped, goesLeft);
  }
  return own.x;
}

}  // namespace

std::optional<ScreenPoint> overlapOrigin(const ScreenRectangle& own, const std::vector<ScreenRectangle>& others) {
  const ScreenRectangle* const overlapped = firstOverlapped(own, others);
  if (!overlapped) return std::nullopt;
  return ScreenPoint{besideX(own, *overlapped, own.center().x < overlapped->center().x), own.y};
}

std::optional<ScreenPoint> clearOrigin(const ScreenRectangle& own, const std::vector<ScreenRectangle>& others,
                                       double leftEdge) {
  const auto first = overlapOrigin(own, others);
  if (!first) return std::nullopt;
  const double x = clearX(own, others, first->x < own.x);
  return ScreenPoint{x < leftEdge ? clearX(own, others, /*goesLeft=*/false) : x, own.y};
}

}  // namespace tandemview
