#include "input/TouchInjector.h"

#include <cmath>

#include "runtime/Log.h"
#include "runtime/Truncation.h"
#include "screens/ScreenText.h"

namespace tandemview {

namespace {

/// How far a display's size may be from the one looked for, in pixels: systems round it.
constexpr std::int64_t sizeTolerance = 9;

bool isAbout(std::int64_t actual, std::int64_t wanted) {
  return wanted >= actual - sizeTolerance && wanted <= actual + sizeTolerance;
}

constexpr const char* invalidLine = "⚠️ TouchInjector: Invalid touch event data";

}  // namespace

TouchInjector::TouchInjector(const ScreenRectangle& virtualDisplayBounds, Surroundings surroundings)
    : surroundings_(std::move(surroundings)), virtualDisplayBounds_(virtualDisplayBounds) {
  checkAccessibility();
}

TouchInjector::~TouchInjector() {
  releaseHeldButton();
}

void TouchInjector::checkAccessibility() {
  isEnabled_ = surroundings_.events->isTrusted(TrustPrompt::Allowed);
  if (isEnabled_) return Log::line("✅ TouchInjector: Accessibility permissions granted");
  Log::line("⚠️ TouchInjector: Accessibility permissions needed");
  Log::line("💡 Go to: System Settings → Privacy & Security → Accessibility");
}

void TouchInjector::setDisplay(std::uint32_t displayID) {
  virtualDisplayID_ = displayID;
  virtualDisplayBounds_ = surroundings_.screens->bounds(displayID);
  Log::print("🖱️ TouchInjector: Using display {} at {}", displayID, rectangleText(virtualDisplayBounds_));
}

void TouchInjector::followDisplay() {
  if (!virtualDisplayID_) return;
  const ScreenRectangle bounds = surroundings_.screens->bounds(*virtualDisplayID_);
  if (bounds.width > 0 && bounds != virtualDisplayBounds_) setDisplay(*virtualDisplayID_);
}

void TouchInjector::updateBounds(const ScreenRectangle& bounds) {
  virtualDisplayBounds_ = bounds;
  if (const auto displayID = findDisplay(truncated(bounds.width), truncated(bounds.height))) {
    virtualDisplayID_ = displayID;
    virtualDisplayBounds_ = surroundings_.screens->bounds(*displayID);
    Log::print("🖱️ TouchInjector: Found display at {}", rectangleText(virtualDisplayBounds_));
  } else {
    Log::print("⚠️ TouchInjector: Could not find display, using bounds: {}", rectangleText(bounds));
  }
}

std::optional<std::uint32_t> TouchInjector::findDisplay(std::int64_t width, std::int64_t height) const {
  const Screens& screens = *surroundings_.screens;
  Log::print("🔍 Looking for display with size {}x{}", width, height);
  const auto count = screens.activeDisplayCount();
  if (!count) {
    Log::line("❌ Failed to get display count");
    return std::nullopt;
  }
  const auto displays = screens.activeDisplays(*count);
  if (!displays) {
    Log::line("❌ Failed to get display list");
    return std::nullopt;
  }
  Log::print("📺 Scanning {} displays...", displays->size());
  for (const std::uint32_t displayID : *displays) {
    const PixelSize size = screens.pixelSize(displayID);
    Log::print("   Display {}: {}x{} at {}", displayID, size.width, size.height,
               rectangleText(screens.bounds(displayID)));
    if (isAbout(size.width, width) && isAbout(size.height, height)) {
      Log::print("✅ Found matching display ID {}: {}x{}", displayID, size.width, size.height);
      return displayID;
    }
  }
  Log::line("⚠️ No matching display found");
  return std::nullopt;
}

void TouchInjector::handleTouchEvent(const Data& payload) {
  if (!isEnabled_) isEnabled_ = surroundings_.events->isTrusted(TrustPrompt::Suppressed);
  if (!isEnabled_) return Log::line("⚠️ TouchInjector: Accessibility permissions not granted");

  const auto event = TouchEvent::fromPayload(payload);
  if (!event) return Log::line(invalidLine);
  if (event->mode == TouchMode::Trackpad) return handleTrackpad(*event);
  handleDirect(*event);
}

void TouchInjector::handleDirect(const TouchEvent& event) {
  if (event.type == "drag") return dragDirect(event);
  const bool isTap = event.type == "tap";
  if (!isTap && event.type != "move") return Log::print("⚠️ TouchInjector: Unknown touch type: {}", event.type);
  const auto location = touchedPoint(event);
  if (!location) return Log::line(invalidLine);
  if (isTap) return tap(*location, "👆 Tap");
  postMove(*location);
}

void TouchInjector::dragDirect(const TouchEvent& event) {
  const auto location = touchedPoint(event);
  if (event.phase == DragPhase::Began) {
    if (!location) return Log::line(invalidLine);
    pressForDrag(*location);
    Log::print("👇 Drag began at {}", pointText(*location));
  } else if (event.phase == DragPhase::Moved && isDragging_) {
    if (!location) return Log::line(invalidLine);
    dragTo(*location);
  } else if (event.phase == DragPhase::Ended && isDragging_) {
    // Not knowing where the finger is must not leave the button down.
    const ScreenPoint end = location.value_or(dragLocation_);
    endDrag(end);
    Log::print("👆 Drag ended at {}", pointText(end));
  }
}

/// Absent if it can't be turned into integers.
std::optional<ScreenPoint> TouchInjector::touchedPoint(const TouchEvent& event) const {
  constexpr double limit = 9223372036854775808.0;  // 2^63
  const ScreenPoint point = {virtualDisplayBounds_.x + event.x * virtualDisplayBounds_.width,
                             virtualDisplayBounds_.y + event.y * virtualDisplayBounds_.height};
  if (!(std::abs(point.x) < limit) || !(std::abs(point.y) < limit)) return std::nullopt;
  return point;
}

void TouchInjector::tap(const ScreenPoint& location, const char* logWord) {
  const double now = surroundings_.clock->now();
  const bool isDoubleClick =
      lastClickLocation_ && now - lastClickTime_ < doubleClickThreshold &&
      std::hypot(location.x - lastClickLocation_->x, location.y - lastClickLocation_->y) < doubleClickDistance;
  clickCount_ = isDoubleClick ? 2 : 1;
  Log::print("{}({}) at {}", logWord, clickCount_, pointText(location));
  post(MouseEventType::LeftDown, location, MouseButton::Left, clickCount_);
  surroundings_.events->pause(clickDuration);
  post(MouseEventType::LeftUp, location, MouseButton::Left, clickCount_);
  lastClickTime_ = now;
  lastClickLocation_ = location;
}

void TouchInjector::pressForDrag(const ScreenPoint& location) {
  isDragging_ = true;
  dragLocation_ = location;
  post(MouseEventType::LeftDown, location, MouseButton::Left, 1);
}

void TouchInjector::dragTo(const ScreenPoint& location) {
  dragLocation_ = location;
  post(MouseEventType::LeftDragged, location, MouseButton::Left);
}

void TouchInjector::endDrag(const ScreenPoint& location) {
  post(MouseEventType::LeftUp, location, MouseButton::Left, 1);
  isDragging_ = false;
}

void TouchInjector::releaseHeldButton() {
  if (isDragging_) endDrag(dragLocation_);
}

void TouchInjector::post(MouseEventType type, const ScreenPoint& location, MouseButton button,
                         std::optional<std::int64_t> clickState) {
  surroundings_.events->postMouseEvent(
      {.type = type, .location = location, .button = button, .flags = EventFlag::none, .clickState = clickState});
}

void TouchInjector::postMove(const ScreenPoint& location) {
  post(MouseEventType::Moved, location, MouseButton::Center);
}

}  // namespace tandemview
