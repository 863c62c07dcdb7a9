#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include "input/EventSystem.h"
#include "platform/linux/X11Connection.h"
#include "platform/linux/X11InputDevices.h"

namespace tandemview {

/// Moves the server's pointer and turns its buttons. What it posts is sent with the connection's next flush.
class X11Pointer {
 public:
  X11Pointer(std::shared_ptr<X11Connection> connection, std::shared_ptr<const X11InputDevices> devices)
      : connection_(std::move(connection)), devices_(std::move(devices)) {}

  /// Where it is; absent if the server doesn't tell. Waits for the server's answer.
  std::optional<ScreenPoint> location() const;

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
  const std::shared_ptr<const X11InputDevices> devices_;
  ScreenPoint location_;  // where it was put last, with the fraction of a pixel that the server doesn't know
  std::map<MouseButton, std::uint8_t> pressed_;  // and the buttons that were posted for them
};

}  // namespace tandemview
