#pragma once

namespace tandemview {

/// A place in the global screen space: points, y downwards, origin at the main screen's upper left corner.
struct ScreenPoint {
  double x = 0;
  double y = 0;

  bool operator==(const ScreenPoint&) const = default;
};

/// A rectangle in the global screen space. Its right and lower edges are outside.
struct ScreenRectangle {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  double maxX() const { return x + width; }
  double maxY() const { return y + height; }
  ScreenPoint center() const { return {x + width / 2, y + height / 2}; }
  bool contains(const ScreenPoint& point) const {
    return point.x >= x && point.x < maxX() && point.y >= y && point.y < maxY();
  }
  bool operator==(const ScreenRectangle&) const = default;
};

}  // namespace tandemview
