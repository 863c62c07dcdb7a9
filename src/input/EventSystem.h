#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runtime/Error.h"
#include "screens/ScreenRectangle.h"

namespace tandemview {

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

/// What the program needs of the system's input events. Called from the main queue.
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

  virtual bool applicationExists(const std::string& path) = 0;

  /// Opens the application, or brings it to the front. Returns at once; the completion may run on any thread.
  virtual void openApplication(const std::string& path, std::function<void(std::optional<Error>)> completion) = 0;

  /// Keeps the calling thread waiting.
  virtual void pause(double seconds) = 0;
};

}  // namespace tandemview
