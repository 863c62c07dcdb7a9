#include "display/DisplayArrangement.h"

#include <algorithm>

namespace tandemview {

namespace {

bool overlap(const DisplayRectangle& left, const DisplayRectangle& right) {
  return std::min(left.maxX(), right.maxX()) > std::max(left.x, right.x) &&
         std::min(left.maxY(), right.maxY()) > std::max(left.y, right.y);
}

/// Null if there is none.
const DisplayRectangle* firstOverlapped(const DisplayRectangle& own, const std::vector<DisplayRectangle>& others) {
  const auto overlapped = std::ranges::find_if(others, [&own](const auto& other) { return overlap(own, other); });
  return overlapped == others.end() ? nullptr : &*overlapped;
}

double besideX(const DisplayRectangle& own, const DisplayRectangle& other, bool goesLeft) {
  return goesLeft ? other.x - own.width : other.maxX();
}

/// Always the same way: what has been passed is never met again, so that a step for each screen is enough.
double clearX(DisplayRectangle own, const std::vector<DisplayRectangle>& others, bool goesLeft) {
  for (std::size_t step = 0; step < others.size(); ++step) {
    const DisplayRectangle* const overlapped = firstOverlapped(own, others);
    if (!overlapped) break;
    own.x = besideX(own, *overlapped, goesLeft);
  }
  return own.x;
}

}  // namespace

std::optional<DisplayPoint> overlapOrigin(const DisplayRectangle& own, const std::vector<DisplayRectangle>& others) {
  const DisplayRectangle* const overlapped = firstOverlapped(own, others);
  if (!overlapped) return std::nullopt;
  return DisplayPoint{besideX(own, *overlapped, own.midX() < overlapped->midX()), own.y};
}

std::optional<DisplayPoint> clearOrigin(const DisplayRectangle& own, const std::vector<DisplayRectangle>& others,
                                        double leftEdge) {
  const auto first = overlapOrigin(own, others);
  if (!first) return std::nullopt;
  const double x = clearX(own, others, first->x < own.x);
  return DisplayPoint{x < leftEdge ? clearX(own, others, /*goesLeft=*/false) : x, own.y};
}

}  // namespace tandemview
