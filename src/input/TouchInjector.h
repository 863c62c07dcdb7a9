#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "input/EventSystem.h"
#include "input/TouchEvent.h"
#include "runtime/Data.h"
#include "runtime/MediaClock.h"
#include "screens/Screens.h"

namespace tandemview {

/// Turns the phone's touch messages into mouse, scroll and shortcut events on the virtual display. Lives on the main
/// queue, which a click keeps for 10 ms on purpose: the system must not merge the press and the release.
class TouchInjector {
 public:
  struct Surroundings {
    std::shared_ptr<EventSystem> events;
    std::shared_ptr<Screens> screens;
    std::shared_ptr<const MediaClock> clock;
  };

  /// `virtualDisplayBounds`: where the display is expected until it is known.
  TouchInjector(const ScreenRectangle& virtualDisplayBounds, Surroundings surroundings);
  ~TouchInjector();
  TouchInjector(const TouchInjector&) = delete;
  TouchInjector& operator=(const TouchInjector&) = delete;

  /// Asks whether events may be posted, letting the system prompt the user.
  void checkAccessibility();

  /// Aims at this display, where it is now.
  void setDisplay(std::uint32_t displayID);

  /// The screens have been rearranged: aims at the display where it is now, if it is still there.
  void followDisplay();

  /// Aims at the display that has the size of `bounds`, or else at `bounds`.
  void updateBounds(const ScreenRectangle& bounds);

  /// The first active display of about this size in pixels.
  std::optional<std::uint32_t> findDisplay(std::int64_t width, std::int64_t height) const;

  /// Takes one touch message (a JSON object, contiguous). A malformed one is dropped.
  void handleTouchEvent(const Data& payload);

  /// Ends a drag that the phone can't end any more.
  void releaseHeldButton();

  std::optional<std::uint32_t> virtualDisplayID() const { return virtualDisplayID_; }
  const ScreenRectangle& virtualDisplayBounds() const { return virtualDisplayBounds_; }

 private:
  void handleDirect(const TouchEvent& event);
  void dragDirect(const TouchEvent& event);
  std::optional<ScreenPoint> touchedPoint(const TouchEvent& event) const;
  void tap(const ScreenPoint& location, const char* logWord);
  void pressForDrag(const ScreenPoint& location);
  void dragTo(const ScreenPoint& location);
  void endDrag(const ScreenPoint& location);
  void post(MouseEventType type, const ScreenPoint& location, MouseButton button,
            std::optional<std::int64_t> clickState = std::nullopt);
  void postMove(const ScreenPoint& location);

  // Trackpad mode: TouchInjectorTrackpad.cpp.
  void handleTrackpad(const TouchEvent& event);
  void tapTrackpad();
  void rightClick();
  void moveTrackpad(double x, double y);
  void dragTrackpad(const TouchEvent& event);
  void beginDragTrackpad();
  void rescuePointer();
  ScreenPoint movedWithinDisplay(const ScreenPoint& from, double x, double y) const;

  // Scrolling, zoom, swipes and gestures: TouchInjectorGestures.cpp.
  void scroll(double x, double y);
  void zoom(double amount);
  void swipe(const std::string& direction);
  void gesture(const std::string& name);
  void openLauncher();
  void pressKey(std::uint16_t keyCode, EventFlags flags);

  static constexpr double doubleClickThreshold = 0.3;  // seconds
  static constexpr double doubleClickDistance = 5.0;   // points
  static constexpr double clickDuration = 0.01;        // seconds

  const Surroundings surroundings_;
  ScreenRectangle virtualDisplayBounds_;
  std::optional<std::uint32_t> virtualDisplayID_;
  bool isEnabled_ = false;

  bool isDragging_ = false;
  ScreenPoint dragLocation_;                          // of the last event of the drag
  std::optional<ScreenPoint> currentCursorPosition_;  // where a trackpad drag has taken the pointer

  double lastClickTime_ = 0;
  std::optional<ScreenPoint> lastClickLocation_;
  std::int64_t clickCount_ = 1;

  // What has been scrolled but is not a whole pixel yet.
  double scrollRemainderX_ = 0;
  double scrollRemainderY_ = 0;
};

}  // namespace tandemview
