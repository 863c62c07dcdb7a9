#include "platform/linux/x11/input/X11Pointer.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "platform/linux/x11/input/X11EventInput.h"

namespace tandemview {

namespace {

/// X's names of the buttons.
namespace Button {
constexpr std::uint8_t left = 1;
constexpr std::uint8_t middle = 2;
constexpr std::uint8_t right = 3;
constexpr std::uint8_t wheelUp = 4;
constexpr std::uint8_t wheelDown = 5;
constexpr std::uint8_t wheelLeft = 6;
constexpr std::uint8_t wheelRight = 7;
}  // namespace Button

/// Far below a pixel, far above the rounding errors of "fraction of the display" times its size.
constexpr double roundingSlack = 1e-6;

std::uint8_t numberOf(MouseButton button) {
  if (button == MouseButton::Left) return Button::left;
  return button == MouseButton::Right ? Button::right : Button::middle;
}

/// A point lies in the pixel whose edges surround it.
std::int16_t pixel(double coordinate) {
  return static_cast<std::int16_t>(std::clamp(std::floor(coordinate + roundingSlack), -32768.0, 32767.0));
}

}  // namespace

std::optional<ScreenPoint> X11Pointer::location() const {
  const auto& place = state_->pointer();
  if (!place) return std::nullopt;
  if (lastPlace_ && pixel(lastPlace_->x) == place->x && pixel(lastPlace_->y) == place->y) return lastPlace_;
  return ScreenPoint{static_cast<double>(place->x), static_cast<double>(place->y)};
}

void X11Pointer::moveTo(const ScreenPoint& location) {
  lastPlace_ = location;
  postInput(*connection_, XCB_MOTION_NOTIFY, /*detail=*/0, pixel(location.x), pixel(location.y));
}

void X11Pointer::press(MouseButton button) {
  const auto number = state_->buttonFor(numberOf(button));
  if (number && pressed_.emplace(button, *number).second) postInput(*connection_, XCB_BUTTON_PRESS, *number);
}

void X11Pointer::release(MouseButton button) {
  const auto pressed = pressed_.extract(button);
  if (pressed) postInput(*connection_, XCB_BUTTON_RELEASE, pressed.mapped());
}

void X11Pointer::turnWheel(std::int64_t vertical, std::int64_t horizontal) const {
  turnWheel(vertical, Button::wheelUp, Button::wheelDown);
  turnWheel(horizontal, Button::wheelLeft, Button::wheelRight);
}

void X11Pointer::releaseAll(const X11Connection& connection) {
  for (const auto& [button, number] : pressed_) postInput(connection, XCB_BUTTON_RELEASE, number);
  pressed_.clear();
}

void X11Pointer::turnWheel(std::int64_t clicks, std::uint8_t forwardButton, std::uint8_t backButton) const {
  if (clicks == 0) return;
  const auto number = state_->buttonFor(clicks > 0 ? forwardButton : backButton);
  if (!number) return;
  for (std::int64_t click = std::abs(clicks); click > 0; --click) {
    postInput(*connection_, XCB_BUTTON_PRESS, *number);
    postInput(*connection_, XCB_BUTTON_RELEASE, *number);
  }
}

}  // namespace tandemview
