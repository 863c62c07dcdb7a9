#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "companion/FrameSize.h"

union SDL_Event;

namespace tandemview {

/// Turns fingers on a touch screen that shows the companion's window into the phone's touches: one finger taps and
/// drags where it is; two scroll what lies between them and zoom, and a tap of theirs is a right click there. A
/// touchpad's fingers zoom only: with the rest of them the system moves the mouse and its wheel.
class WindowFingers {
 public:
  /// Takes the JSON text of a touch message.
  using Send = std::function<void(const std::string& message)>;

  /// `isTouchpad` tells the touch devices (SDL's numbers) whose fingers are not on the picture.
  WindowFingers(Send send, std::function<bool(std::int64_t device)> isTouchpad)
      : send_(std::move(send)), isTouchpad_(std::move(isTouchpad)) {}

  /// The size of the picture in its own pixels. The events count in fractions of it.
  void setPictureSize(FrameSize size) { size_ = size; }

  void handle(const SDL_Event& event);

 private:
  struct Point {
    double x = 0;
    double y = 0;
  };
  struct Finger {
    std::int64_t id;
    Point start;
    Point place;
  };

  /// What the fingers that are down have turned out to do. After two, the one that is left does nothing more.
  enum class Gesture { None, Undecided, Drag, Two, Scroll, Zoom, Over };

  void put(Finger finger, bool isOnScreen);
  void move(std::int64_t id, Point place);
  void lift(std::int64_t id);
  void moveOne(const Finger& finger);
  void moveTwo(Point middleBefore);
  void cancel();

  Point inPixels(Point from, Point to) const;
  Point middle() const;
  double distance() const;

  const Send send_;
  const std::function<bool(std::int64_t device)> isTouchpad_;
  FrameSize size_;
  std::vector<Finger> fingers_;
  Gesture gesture_ = Gesture::None;
  bool isOnScreen_ = true;
  Point scrolled_;           // by two fingers since they came, in pixels
  double zoomDistance_ = 0;  // between two fingers when they came or zoomed last
};

}  // namespace tandemview
