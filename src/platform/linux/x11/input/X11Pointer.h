#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include "input/EventSystem.h"
#include "platform/linux/x11/input/X11InputState.h"
#include "platform/linux/x11/server/X11Connection.h"

namespace tandemview {

/// Moves the server's pointer and turns its buttons. What it posts is sent with the connection's next flush.
class X11Pointer {
 public:
  X11Pointer(std::shared_ptr<X11Connection> connection, std::shared_ptr<X11InputState> state)
      : connection_(std::move(connection)), state_(std::move(state)) {}

  /// Where it is, as of the state's last answer; absent if the server didn't tell.
  std::optional<ScreenPoint> location() const;
  /// Where it was put last; absent if it never was.
  const std::optional<ScreenPoint>& lastPlace() const { return lastPlace_; }

  void moveTo(const ScreenPoint& location);
  void press(MouseButton button);
  /// Of a button that this object has pressed; does nothing for others.
  void release(MouseButton button);
  /// Clicks of the wheel: upwards and to the left if positive.
  void turnWheel(std::int64_t vertical, std::int64_t horizontal) const;

  bool hasPressed() const { return !pressed_.empty(); }
  /// Lets go of all buttons, through `connection`.
  void releaseAll(const X11Connection& connection);

 private:
  void turnWheel(std::int64_t clicks, std::uint8_t forwardButton, std::uint8_t backButton) const;

  const std::shared_ptr<X11Connection> connection_;
  const std::shared_ptr<X11InputState> state_;
  std::optional<ScreenPoint> lastPlace_;         // with the fraction of a pixel, which the server doesn't know
  std::map<MouseButton, std::uint8_t> pressed_;  // and the buttons that were posted for them
};

}  // namespace tandemview
