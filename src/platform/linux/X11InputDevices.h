#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <memory>
#include <optional>

#include "platform/linux/X11Connection.h"

namespace tandemview {

/// The server's input devices, as far as they change what becomes of XTEST's events.
class X11InputDevices {
 public:
  explicit X11InputDevices(std::shared_ptr<X11Connection> connection);

  /// The button to press so that programs see `button`: users swap buttons, for the left hand or to turn the wheel
  /// round. Absent if none leads to it.
  std::optional<std::uint8_t> buttonFor(std::uint8_t button) const;

  /// Lets go of the keys and buttons that XTEST holds down.
  void releaseAll() const;

 private:
  const std::shared_ptr<X11Connection> connection_;
  std::uint8_t testPointer_ = 0;  // the devices that XTEST's events come from; 0: the server doesn't tell
  std::uint8_t testKeyboard_ = 0;
};

}  // namespace tandemview
