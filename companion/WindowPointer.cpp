#include "companion/WindowPointer.h"

#include <SDL_events.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace tandemview {

namespace {

/// On a trackpad, a press that moves less than this is a tap, in pixels of the picture.
constexpr double tapSlop = 4;

/// How far a click of the wheel scrolls.
constexpr double pixelsPerWheelClick = 50;

/// How much of the picture's height Page Up and Page Down scroll.
constexpr double pageShare = 0.9;

}  // namespace

void WindowPointer::handle(const SDL_Event& event) {
  switch (event.type) {
    case SDL_MOUSEMOTION:
      return move({static_cast<double>(event.motion.x), static_cast<double>(event.motion.y)});
    case SDL_MOUSEBUTTONDOWN:
      return press(event.button.button);
    case SDL_MOUSEBUTTONUP:
      return release(event.button.button);
    case SDL_MOUSEWHEEL:
      return scroll(event.wheel.preciseX, event.wheel.preciseY);
    case SDL_KEYDOWN:
      return pressKey(event.key.keysym.sym, event.key.repeat != 0);
    case SDL_WINDOWEVENT:
      if (event.window.event == SDL_WINDOWEVENT_FOCUS_LOST) cancel();
      if (event.window.event == SDL_WINDOWEVENT_LEAVE) leave();
      return;
    case SDL_QUIT:
      return cancel();
    default:
      return;
  }
}

void WindowPointer::pressKey(int key, bool isRepeated) {
  const double page = static_cast<double>(size_.height) * pageShare / pixelsPerWheelClick;
  if (key == SDLK_F9 && !isRepeated) changeMode();
  if (key == SDLK_PAGEUP) scroll(0, page);
  if (key == SDLK_PAGEDOWN) scroll(0, -page);
}

void WindowPointer::move(Point to) {
  if (isInside_ && to.x == pointer_.x && to.y == pointer_.y) return;
  if (isTrackpad() && isInside_) return moveTrackpad(to);
  isInside_ = true;
  pointer_ = to;
  if (touch_ == Touch::Drag) return send("drag", TouchMode::Direct, inPicture(to), "moved");
  if (isInPicture()) moveHostPointer();
}

void WindowPointer::moveTrackpad(Point to) {
  const Point by{(to.x - pointer_.x) / static_cast<double>(size_.width),
                 (to.y - pointer_.y) / static_cast<double>(size_.height)};
  if (touch_ == Touch::Undecided) {
    if (std::hypot(to.x - pointer_.x, to.y - pointer_.y) < tapSlop) return;
    touch_ = Touch::Drag;
    send("drag", TouchMode::Trackpad, {}, "began");
  }
  pointer_ = to;
  if (touch_ == Touch::Drag) return send("drag", TouchMode::Trackpad, by, "moved");
  send("move", TouchMode::Trackpad, by);
}

void WindowPointer::press(std::uint8_t button) {
  if (!isInPicture()) return;
  if (button == SDL_BUTTON_RIGHT) return rightClick();
  if (button != SDL_BUTTON_LEFT) return;
  touch_ = isTrackpad() ? Touch::Undecided : Touch::Drag;
  if (!isTrackpad()) send("drag", TouchMode::Direct, inPicture(pointer_), "began");
}

void WindowPointer::release(std::uint8_t button) {
  if (button != SDL_BUTTON_LEFT) return;
  const Touch touch = std::exchange(touch_, Touch::None);
  if (touch == Touch::Undecided) send("tap", TouchMode::Trackpad, {});
  if (touch == Touch::Drag) send("drag", mode_, isTrackpad() ? Point() : inPicture(pointer_), "ended");
}

void WindowPointer::leave() {
  cancel();
  isInside_ = false;
}

void WindowPointer::cancel() {
  if (std::exchange(touch_, Touch::None) != Touch::Drag) return;
  send("drag", mode_, isTrackpad() ? Point() : inPicture(pointer_), "cancelled");
}

void WindowPointer::rightClick() {
  moveHostPointer();
  send("rightclick", TouchMode::Trackpad, {});
}

void WindowPointer::scroll(double clicksRight, double clicksUp) {
  if (!isInPicture()) return;
  moveHostPointer();
  // The host turns the signs.
  send("scroll", TouchMode::Trackpad, {clicksRight * pixelsPerWheelClick, -clicksUp * pixelsPerWheelClick});
}

/// A finger alone can neither scroll nor click with the right button: the trackpad does both where the pointer is.
void WindowPointer::moveHostPointer() {
  if (!isTrackpad()) send("move", TouchMode::Direct, inPicture(pointer_));
}

void WindowPointer::changeMode() {
  cancel();
  mode_ = isTrackpad() ? TouchMode::Direct : TouchMode::Trackpad;
}

/// As fractions of the picture: the middle of the nearest pixel in it.
WindowPointer::Point WindowPointer::inPicture(Point point) const {
  const auto fraction = [](double place, std::int64_t length) {
    const auto side = static_cast<double>(length);
    return (std::clamp(std::floor(place), 0.0, std::max(0.0, side - 1)) + 0.5) / side;
  };
  return {fraction(point.x, size_.width), fraction(point.y, size_.height)};
}

bool WindowPointer::isInPicture() const {
  return isInside_ && pointer_.x >= 0 && pointer_.y >= 0 && pointer_.x < static_cast<double>(size_.width) &&
         pointer_.y < static_cast<double>(size_.height);
}

void WindowPointer::send(const char* type, TouchMode mode, Point point, const char* phase) const {
  send_(touchMessage(type, mode, point.x, point.y, phase));
}

}  // namespace tandemview
