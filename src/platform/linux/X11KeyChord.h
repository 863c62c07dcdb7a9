#pragma once

#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <optional>

#include "input/EventSystem.h"

namespace tandemview {

/// Modifier keys to be held, as a bit mask of our own.
using X11Modifiers = std::uint8_t;
namespace X11Modifier {
inline constexpr X11Modifiers none = 0;
inline constexpr X11Modifiers shift = 1;
inline constexpr X11Modifiers control = 2;
inline constexpr X11Modifiers alt = 4;
inline constexpr X11Modifiers super = 8;
inline constexpr X11Modifiers levelThree = 16;  // AltGr
}  // namespace X11Modifier

/// A key pressed with modifiers held; modifiers alone if it has no key.
struct X11KeyChord {
  X11Modifiers modifiers = X11Modifier::none;
  std::uint16_t linuxKeyCode = 0;          // a place on the keyboard, of input-event-codes.h; 0: none
  xkb_keysym_t symbol = XKB_KEY_NoSymbol;  // if the layout has a key for it, that one is meant

  bool operator==(const X11KeyChord&) const = default;
};

/// Command acts as Control, Option as Alt, Control and Shift as themselves.
X11Modifiers x11ModifiersOf(EventFlags flags);

/// What a Linux user presses for a Mac's key press, on the desktop that XDG_CURRENT_DESKTOP names; absent for what a
/// Linux desktop has no notion of.
std::optional<X11KeyChord> x11KeyChordFor(std::uint16_t virtualKeyCode, EventFlags flags);

/// What opens the desktop's application launcher; absent if that isn't known.
std::optional<X11KeyChord> x11LauncherChord();

}  // namespace tandemview
