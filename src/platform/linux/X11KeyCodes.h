#pragma once

#include <cstdint>
#include <optional>

namespace tandemview {

/// Linux numbers its keys from 1, X from 8 more (the evdev rules of xkeyboard-config).
inline constexpr int firstX11KeyCode = 8;

/// The Linux input code (input-event-codes.h) of the key that lies where the virtual key code (input/KeyCodes.h) says;
/// absent for a key that the program never presses.
std::optional<std::uint16_t> linuxKeyCodeOf(std::uint16_t virtualKeyCode);

}  // namespace tandemview
