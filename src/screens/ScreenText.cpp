#include "screens/ScreenText.h"

#include <fmt/format.h>

#include "runtime/FloatingPointText.h"
#include "runtime/Truncation.h"

namespace tandemview {

std::string pointText(const ScreenPoint& point) {
  return fmt::format("({}, {})", truncated(point.x), truncated(point.y));
}

std::string rectangleText(const ScreenRectangle& rectangle) {
  return fmt::format("({}, {}, {}, {})", floatingPointText(rectangle.x), floatingPointText(rectangle.y),
                     floatingPointText(rectangle.width), floatingPointText(rectangle.height));
}

}  // namespace tandemview
