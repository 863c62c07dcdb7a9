#pragma once

#include <cstdint>
#include <optional>

namespace tandemview {

/// The Linux input code (input-event-codes.h) of the key that lies where the virtual key code (input/KeyCodes.h) says;
/// absent for a key that the program never presses.
std::optional<std::uint16_t> linuxKeyCodeOf(std::uint16_t virtualKeyCode);

}  // namespace tandemview
