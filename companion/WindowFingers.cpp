#include "companion/WindowFingers.h"

#include <SDL_events.h>

#include <algorithm>
#include <cmath>

#include "companion/TouchMessage.h"

namespace tandemview {

namespace {

/// A finger that moves less than this rests, in pixels of the picture.
constexpr double restSlop = 12;

/// How much farther apart, or nearer, two fingers are for each step of the zoom.
constexpr double zoomStep = 1.2;

}  // namespace

void WindowFingers::handle(const SDL_Event& event) {
  const SDL_TouchFingerEvent& finger = event.tfinger;
  switch (event.type) {
    case SDL_FINGERDOWN: {
      const Point place{finger.x, finger.y};
      return put({finger.fingerId, place, place}, !isTouchpad_(finger.touchId));
    }
    case SDL_FINGERMOTION:
      return move(finger.fingerId, {finger.x, finger.y});
    case SDL_FINGERUP:
      return lift(finger.fingerId);
    case SDL_WINDOWEVENT:
      if (event.window.event == SDL_WINDOWEVENT_FOCUS_LOST) cancel();
      return;
    case SDL_QUIT:
      return cancel();
    default:
      return;
  }
}

void WindowFingers::put(Finger finger, bool isOnScreen) {
  const bool counts = fingers_.empty() || (fingers_.size() == 1 && gesture_ == Gesture::Undecided);
  if (!counts) return;
  fingers_.push_back(finger);
  isOnScreen_ = isOnScreen;
  if (fingers_.size() == 1) {
    gesture_ = Gesture::Undecided;
  } else {
    gesture_ = Gesture::Two;
    scrolled_ = {};
    zoomDistance_ = distance();
    if (isOnScreen_) send_(touchMessage("move", TouchMode::Direct, middle().x, middle().y));
  }
}

void WindowFingers::move(std::int64_t id, Point place) {
  const auto finger = std::ranges::find(fingers_, id, &Finger::id);
  if (finger == fingers_.end()) return;
  const Point middleBefore = fingers_.size() == 2 ? middle() : Point();
  finger->place = place;
  if (fingers_.size() == 1 && isOnScreen_) return moveOne(*finger);
  if (fingers_.size() == 2) moveTwo(middleBefore);
}

void WindowFingers::moveOne(const Finger& finger) {
  if (gesture_ == Gesture::Undecided) {
    const Point moved = inPixels(finger.start, finger.place);
    if (std::hypot(moved.x, moved.y) < restSlop) return;
    gesture_ = Gesture::Drag;
    send_(touchMessage("drag", TouchMode::Direct, finger.start.x, finger.start.y, "began"));
  }
  if (gesture_ != Gesture::Drag) return;
  send_(touchMessage("drag", TouchMode::Direct, finger.place.x, finger.place.y, "moved"));
}

/// Two fingers scroll or zoom, whichever they do first.
void WindowFingers::moveTwo(Point middleBefore) {
  const double ratio = zoomDistance_ > 0 ? distance() / zoomDistance_ : 1;
  const bool isStep = ratio >= zoomStep || ratio <= 1 / zoomStep;
  if (isStep && (gesture_ == Gesture::Two || gesture_ == Gesture::Zoom)) {
    gesture_ = Gesture::Zoom;
    zoomDistance_ = distance();
    return send_(touchMessage("zoom", TouchMode::Trackpad, ratio > 1 ? 1 : -1, 0));
  }
  if (!isOnScreen_ || (gesture_ != Gesture::Two && gesture_ != Gesture::Scroll)) return;
  Point by = inPixels(middle(), middleBefore);  // against the fingers: the host turns the wheel the other way round
  scrolled_ = {scrolled_.x + by.x, scrolled_.y + by.y};
  if (gesture_ == Gesture::Two) {
    if (std::hypot(scrolled_.x, scrolled_.y) < restSlop) return;
    gesture_ = Gesture::Scroll;
    by = scrolled_;  // from the beginning
  }
  send_(touchMessage("scroll", TouchMode::Trackpad, by.x, by.y));
}

void WindowFingers::lift(std::int64_t id) {
  const auto finger = std::ranges::find(fingers_, id, &Finger::id);
  if (finger == fingers_.end()) return;
  const Point place = finger->place;
  fingers_.erase(finger);
  if (gesture_ == Gesture::Drag) send_(touchMessage("drag", TouchMode::Direct, place.x, place.y, "ended"));
  if (gesture_ == Gesture::Undecided && isOnScreen_) send_(touchMessage("tap", TouchMode::Direct, place.x, place.y));
  if (gesture_ == Gesture::Two && isOnScreen_) send_(touchMessage("rightclick", TouchMode::Trackpad, 0, 0));
  gesture_ = fingers_.empty() ? Gesture::None : Gesture::Over;
}

void WindowFingers::cancel() {
  if (gesture_ == Gesture::Drag) {
    const Point place = fingers_.front().place;
    send_(touchMessage("drag", TouchMode::Direct, place.x, place.y, "cancelled"));
  }
  if (gesture_ != Gesture::None) gesture_ = Gesture::Over;
}

WindowFingers::Point WindowFingers::inPixels(Point from, Point to) const {
  return {(to.x - from.x) * static_cast<double>(size_.width), (to.y - from.y) * static_cast<double>(size_.height)};
}

WindowFingers::Point WindowFingers::middle() const {
  return {(fingers_[0].place.x + fingers_[1].place.x) / 2, (fingers_[0].place.y + fingers_[1].place.y) / 2};
}

double WindowFingers::distance() const {
  const Point between = inPixels(fingers_[0].place, fingers_[1].place);
  return std::hypot(between.x, between.y);
}

}  // namespace tandemview
