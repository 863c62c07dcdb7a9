#pragma once

#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <optional>

#include "input/EventSystem.h"

namespace tandemview {

/// Modifier keys to be held, as a bit mask of our own.
using KeyModifiers = std::uint8_t;
namespace KeyModifier {
inline constexpr KeyModifiers none = 0;
inline constexpr KeyModifiers shift = 1;
inline constexpr KeyModifiers control = 2;
inline constexpr KeyModifiers alt = 4;
inline constexpr KeyModifiers super = 8;
inline constexpr KeyModifiers levelThree = 16;  // AltGr
}  // namespace KeyModifier

/// A key pressed with modifiers held; modifiers alone if it has no key.
struct KeyChord {
  KeyModifiers modifiers = KeyModifier::none;
  std::uint16_t linuxKeyCode = 0;          // a place on the keyboard, of input-event-codes.h; 0: none
  xkb_keysym_t symbol = XKB_KEY_NoSymbol;  // if the layout has a key for it, that one is meant

  bool operator==(const KeyChord&) const = default;
};

/// Command acts as Control, Option as Alt, Control and Shift as themselves.
KeyModifiers keyModifiersOf(EventFlags flags);

/// What a Linux user presses for a Mac's key press, on the desktop that XDG_CURRENT_DESKTOP names; absent for what a
/// Linux desktop has no notion of.
std::optional<KeyChord> keyChordFor(std::uint16_t virtualKeyCode, EventFlags flags);

/// What opens the desktop's application launcher; absent if that isn't known.
std::optional<KeyChord> launcherChord();

}  // namespace tandemview
