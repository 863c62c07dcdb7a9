#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runtime/Error.h"

namespace tandemview {

/// A place in the global screen space: points, y downwards, origin at the main screen's upper left corner.
struct ScreenPoint {
  double x = 0;
  double y = 0;

  bool operator==(const ScreenPoint&) const = default;
};

/// A rectangle in the global screen space. Its right and lower edges are outside.
struct ScreenRectangle {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  double maxX() const { return x + width; }
  double maxY() const { return y + height; }
  ScreenPoint center() const { return {x + width / 2, y + height / 2}; }
  bool contains(const ScreenPoint& point) const {
    return point.x >= x && point.x < maxX() && point.y >= y && point.y < maxY();
  }
  bool operator==(const ScreenRectangle&) const = default;
};

struct PixelSize {
  std::int64_t width = 0;
  std::int64_t height = 0;
};

/// Modifiers that an event says are held, as a bit mask. The bits are those of IOKit's NX_*MASK (IOLLEvent.h).
using EventFlags = std::uint64_t;
namespace EventFlag {
inline constexpr EventFlags none = 0;
inline constexpr EventFlags shift = 0x20000;
inline constexpr EventFlags control = 0x40000;
inline constexpr EventFlags option = 0x80000;
inline constexpr EventFlags command = 0x100000;
inline constexpr EventFlags numericPad = 0x200000;         // arrow keys carry it too
inline constexpr EventFlags secondaryFunction = 0x800000;  // the fn key
}  // namespace EventFlag

/// Numbered as IOKit's NX_* event types (IOLLEvent.h).
enum class MouseEventType : std::uint32_t {
  LeftDown = 1,
  LeftUp = 2,
  RightDown = 3,
  RightUp = 4,
  Moved = 5,
  LeftDragged = 6,
};

enum class MouseButton : std::uint32_t { Left = 0, Right = 1, Center = 2 };

struct MouseEvent {
  MouseEventType type = MouseEventType::Moved;
  ScreenPoint location;  // the event takes the pointer there
  MouseButton button = MouseButton::Center;
  EventFlags flags = EventFlag::none;      // holds for the event, whatever is held on the real keyboard
  std::optional<std::int64_t> clickState;  // 1: single click, 2: double click; absent: left as the system makes it
};

/// Wheel movement in pixels; positive scrolls towards the beginning (up, left).
struct ScrollEvent {
  std::int32_t vertical = 0;
  std::int32_t horizontal = 0;
  bool isContinuous = false;  // like a trackpad's, not notched
  EventFlags flags = EventFlag::none;
};

/// Whom the system takes key events to be from. Opaque; letting go of it changes nothing for events already posted.
class EventSource {
 public:
  virtual ~EventSource() = default;
};

struct KeyEvent {
  std::shared_ptr<EventSource> source;  // absent: from nobody in particular
  std::uint16_t keyCode = 0;            // a virtual key code; see KeyCodes.h
  bool isDown = false;
  std::optional<EventFlags> flags;  // absent: left as the system makes it
  std::u16string text;              // what the key types; empty: whatever the layout says
};

enum class TrustPrompt { Allowed, Suppressed };

/// What the program needs of the system's input events and of what they are aimed at. Called from the main queue.
class EventSystem {
 public:
  virtual ~EventSystem() = default;

  /// Whether this process may post events. Asking may make the system show its own prompt, without waiting for the
  /// user's answer.
  virtual bool isTrusted(TrustPrompt prompt) = 0;

  /// A source in the state of the user's session, real and posted input combined; absent if the system makes none.
  virtual std::shared_ptr<EventSource> makeEventSource() = 0;

  /// Post one event as if it came from the hardware, after those posted before it. An event that the system can't
  /// make or doesn't let through is skipped silently. A key-down is always followed by the key-up with the same
  /// attributes, before anything else is posted.
  virtual void postMouseEvent(const MouseEvent& event) = 0;
  virtual void postScrollEvent(const ScrollEvent& event) = 0;
  virtual void postKeyEvent(const KeyEvent& event) = 0;

  /// Drops the events that have been posted and still wait to be carried out, save that buttons which they would
  /// release come up. For when nobody is there any more whose events they are.
  virtual void discardWaitingEvents() = 0;

  /// Where the pointer is after all that has been posted; absent if the system doesn't tell. Where it was put between
  /// two pixels, it is there: small movements add up.
  virtual std::optional<ScreenPoint> pointerLocation() = 0;

  /// How many displays show a picture, and which, in the system's order, at most `limit` of them. Absent on failure.
  virtual std::optional<std::uint32_t> activeDisplayCount() = 0;
  virtual std::optional<std::vector<std::uint32_t>> activeDisplays(std::uint32_t limit) = 0;

  /// An empty rectangle and size for a display that the system doesn't know.
  virtual ScreenRectangle displayBounds(std::uint32_t displayID) = 0;
  virtual PixelSize displayPixelSize(std::uint32_t displayID) = 0;

  virtual bool applicationExists(const std::string& path) = 0;

  /// Opens the application, or brings it to the front. Returns at once; the completion may run on any thread.
  virtual void openApplication(const std::string& path, std::function<void(std::optional<Error>)> completion) = 0;

  /// Keeps the calling thread waiting.
  virtual void pause(double seconds) = 0;
};

}  // namespace tandemview
