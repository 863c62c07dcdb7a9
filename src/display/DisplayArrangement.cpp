#include "display/DisplayArrangement.h"

#include <algorithm>

namespace tandemview {

namespace {

bool overlap(const DisplayRectangle& left, const DisplayRectangle& right) {
  return std::min(left.maxX(), right.maxX()) > std::max(left.x, right.x) &&
         std::min(left.maxY(), right.maxY()) > std::max(left.y, right.y);
}

}  // namespace

std::optional<DisplayPoint> overlapOrigin(const DisplayRectangle& own, const std::vector<DisplayRectangle>& others) {
  const auto overlapped = std::ranges::find_if(others, [&own](const auto& other) { return overlap(own, other); });
  if (overlapped == others.end()) return std::nullopt;
  const bool goesLeft = own.midX() < overlapped->midX();
  return DisplayPoint{goesLeft ? overlapped->x - own.width : overlapped->maxX(), own.y};
}

}  // namespace tandemview
