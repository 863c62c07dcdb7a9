#pragma once

#include <string>

#include "screens/ScreenRectangle.h"

namespace tandemview {

/// Coordinates for a log line, as integers: "(12, -3)". They must fit 64 bits.
std::string pointText(const ScreenPoint& point);

/// Origin and size for a log line: "(0.0, 0.0, 644.0, 1398.0)".
std::string rectangleText(const ScreenRectangle& rectangle);

}  // namespace tandemview
