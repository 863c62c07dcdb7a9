#pragma once

#include <xcb/xcb.h>
#include <xcb/xinput.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/linux/x11/server/X11Connection.h"

namespace tandemview {

/// The server's input devices: those that XTEST's events come from, and the keyboards beside them.
class X11InputDevices {
 public:
  struct Key {
    std::uint8_t device = 0;
    xcb_keycode_t code = 0;
  };

  explicit X11InputDevices(std::shared_ptr<X11Connection> connection);

  /// Those that XTEST's events come from; 0: the server doesn't tell.
  std::uint8_t testPointer() const { return testPointer_; }
  std::uint8_t testKeyboard() const { return testKeyboard_; }

  /// The keys that are down on any keyboard, by the user's hands or somebody's program. Waits for the server.
  std::vector<Key> heldKeys() const;

  /// Turns a key of one keyboard as if its own hardware did it.
  void turn(const Key& key, bool isDown) const;

  /// Lets go of the keys and buttons that XTEST holds down. Waits for the server.
  void releaseAll() const;

 private:
  X11Reply<xcb_input_xi_query_device_reply_t> query() const;

  const std::shared_ptr<X11Connection> connection_;
  std::uint8_t testPointer_ = 0;
  std::uint8_t testKeyboard_ = 0;
};

}  // namespace tandemview
