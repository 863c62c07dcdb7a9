#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "companion/FrameSize.h"
#include "companion/TouchMessage.h"

union SDL_Event;

namespace tandemview {

/// Turns the mouse in the companion's window into a finger on the phone's screen: what the left button holds is a
/// touch at its place in the picture, and without it the host's pointer is where the mouse is. In trackpad mode, which
/// F9 turns on and off, the screen is a trackpad: motion moves the host's pointer, a click is a tap, and motion with
/// the button held drags.
///
/// In both modes the wheel scrolls, Page Up and Page Down, which the protocol lacks, do so by a page, and the right
/// button is a right click; for the middle button the protocol has nothing. A touch ends when the pointer leaves the
/// window, when the window loses the keyboard and when it closes.
class WindowPointer {
 public:
  /// Takes the JSON text of a touch message.
  using Send = std::function<void(const std::string& message)>;

  explicit WindowPointer(Send send) : send_(std::move(send)) {}

  /// The size of the picture in its own pixels, in which the events count from its upper left corner.
  void setPictureSize(FrameSize size) { size_ = size; }

  void handle(const SDL_Event& event);

  bool isTrackpad() const { return mode_ == TouchMode::Trackpad; }

 private:
  struct Point {
    double x = 0;
    double y = 0;
  };

  enum class Touch { None, Undecided, Drag };

  void pressKey(int key, bool isRepeated);
  void move(Point to);
  void moveTrackpad(Point to);
  void press(std::uint8_t button);
  void release(std::uint8_t button);
  void leave();
  void cancel();
  void rightClick();
  void scroll(double clicksRight, double clicksUp);
  void moveHostPointer();
  void changeMode();

  Point inPicture(Point point) const;
  bool isInPicture() const;
  void send(const char* type, TouchMode mode, Point point, const char* phase = nullptr) const;

  const Send send_;
  FrameSize size_;
  TouchMode mode_ = TouchMode::Direct;
  Touch touch_ = Touch::None;
  bool isInside_ = false;  // the window; only then the pointer's place is known
  Point pointer_;
};

}  // namespace tandemview
