#include <algorithm>

#include "input/TouchInjector.h"
#include "runtime/Log.h"
#include "screens/ScreenText.h"

namespace tandemview {

void TouchInjector::handleTrackpad(const TouchEvent& event) {
  if (event.type == "tap") return tapTrackpad();
  if (event.type == "rightclick") return rightClick();
  if (event.type == "move") return moveTrackpad(event.x, event.y);
  if (event.type == "drag") return dragTrackpad(event);
  if (event.type == "scroll") return scroll(event.x, event.y);
  if (event.type == "zoom") return zoom(event.x);
  if (event.type == "swipe") return swipe(event.direction);
  if (event.type == "gesture") return gesture(event.direction);
  Log::print("⚠️ Unknown touch type: {}", event.type);
}

void TouchInjector::tapTrackpad() {
  const auto location = surroundings_.events->pointerLocation();
  if (!location) return;
  if (!virtualDisplayBounds_.contains(*location)) return rescuePointer();
  tap(*location, "🖱️ Click");
}

void TouchInjector::rightClick() {
  const auto location = surroundings_.events->pointerLocation();
  if (!location) return;
  if (!virtualDisplayBounds_.contains(*location)) return rescuePointer();
  Log::print("🖱️ Right click at {}", pointText(*location));
  post(MouseEventType::RightDown, *location, MouseButton::Right);
  surroundings_.events->pause(clickDuration);
  post(MouseEventType::RightUp, *location, MouseButton::Right);
}

void TouchInjector::moveTrackpad(double x, double y) {
  if (const auto location = surroundings_.events->pointerLocation()) postMove(movedWithinDisplay(*location, x, y));
}

void TouchInjector::dragTrackpad(const TouchEvent& event) {
  if (event.phase == DragPhase::Began) return beginDragTrackpad();
  const auto location = currentCursorPosition_ ? currentCursorPosition_ : surroundings_.events->pointerLocation();
  if (event.phase == DragPhase::Moved && location) {
    currentCursorPosition_ = movedWithinDisplay(*location, event.x, event.y);
    if (isDragging_) return dragTo(*currentCursorPosition_);
    postMove(*currentCursorPosition_);
  } else if (event.phase == DragPhase::Ended && isDragging_) {
    // Not knowing where the pointer is must not leave the button down.
    endDrag(location.value_or(dragLocation_));
    Log::line("🖱️ Drag ended");
  }
}

void TouchInjector::beginDragTrackpad() {
  const auto location = surroundings_.events->pointerLocation();
  if (!location) return;
  if (!virtualDisplayBounds_.contains(*location)) return rescuePointer();
  currentCursorPosition_ = location;
  pressForDrag(*location);
  Log::print("🖱️ Drag began at {}", pointText(*location));
}

void TouchInjector::rescuePointer() {
  Log::line("🖱️ Pointer was on another screen — moved it to the iPhone display");
  postMove(virtualDisplayBounds_.center());
}

/// `x` and `y` are fractions of the display's size. A display narrower than a point holds its left edge only.
ScreenPoint TouchInjector::movedWithinDisplay(const ScreenPoint& from, double x, double y) const {
  const ScreenRectangle& bounds = virtualDisplayBounds_;
  return {std::max(std::min(from.x + x * bounds.width, bounds.maxX() - 1), bounds.x),
          std::max(std::min(from.y + y * bounds.height, bounds.maxY() - 1), bounds.y)};
}

}  // namespace tandemview
