#pragma once

#include <xcb/xtest.h>

#include "platform/linux/x11/server/X11Connection.h"

namespace tandemview {

/// Asks the server to behave as if the hardware had sent an event: a key or button (`detail` its code or number) going
/// down or up, or the pointer moving to a place of the screen. `device`: where `type` is one of the input extension's.
/// Sent with the next flush; nothing on a broken connection.
inline void postInput(const X11Connection& connection, std::uint8_t type, std::uint8_t detail, std::int16_t x = 0,
                      std::int16_t y = 0, std::uint8_t device = 0) {
  xcb_test_fake_input(connection.get(), type, detail, XCB_CURRENT_TIME, connection.root(), x, y, device);
}

}  // namespace tandemview
