#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <memory>

#include "platform/linux/X11Connection.h"

namespace tandemview {

/// The server's input devices: those that XTEST's events come from.
class X11InputDevices {
 public:
  explicit X11InputDevices(std::shared_ptr<X11Connection> connection);

  /// The one that XTEST's buttons are those of; 0: the server doesn't tell.
  std::uint8_t testPointer() const { return testPointer_; }

  /// Lets go of the keys and buttons that XTEST holds down.
  void releaseAll() const;

 private:
  const std::shared_ptr<X11Connection> connection_;
  std::uint8_t testPointer_ = 0;
  std::uint8_t testKeyboard_ = 0;
};

}  // namespace tandemview
