#include "platform/linux/keys/KeyChord.h"

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <string_view>

#include "input/KeyCodes.h"
#include "platform/linux/keys/LinuxKeyCodes.h"
#include "platform/linux/session/CurrentDesktop.h"

namespace tandemview {

namespace {

constexpr std::uint16_t tab = 48;  // kVK_Tab, kVK_Space, kVK_Delete
constexpr std::uint16_t space = 49;
constexpr std::uint16_t backspace = 51;

/// What an arrow key of a Mac carries beside Control when a swipe presses it. The phone's own Control+Left lacks it
/// and moves by a word.
constexpr EventFlags swipe = EventFlag::control | EventFlag::numericPad | EventFlag::secondaryFunction;

/// A shortcut of the Mac that another one stands for on a Linux desktop.
struct Twin {
  std::uint16_t virtualKeyCode;
  EventFlags flags;               // all but Shift, which is kept
  std::optional<KeyChord> chord;  // absent: nothing stands for it
  std::string_view desktop = {};  // on which alone it does; empty: on the others
};

constexpr KeyModifiers control = KeyModifier::control;
constexpr KeyModifiers alt = KeyModifier::alt;
constexpr KeyModifiers super = KeyModifier::super;

// clang-format off
constexpr Twin twins[] = {
    // The spaces are workspaces; Mission Control is the overview, App Exposé has nothing nearer than the workspace below.
    {KeyCode::leftArrow, swipe, KeyChord{control | super, KEY_LEFT}, "KDE"},
    {KeyCode::rightArrow, swipe, KeyChord{control | super, KEY_RIGHT}, "KDE"},
    {KeyCode::upArrow, swipe, KeyChord{super, KEY_W, XKB_KEY_w}, "KDE"},
    {KeyCode::downArrow, swipe, KeyChord{control | super, KEY_DOWN}, "KDE"},
    {KeyCode::leftArrow, swipe, KeyChord{control | alt, KEY_LEFT}},
    {KeyCode::rightArrow, swipe, KeyChord{control | alt, KEY_RIGHT}},
    {KeyCode::upArrow, swipe, KeyChord{super}},
    {KeyCode::downArrow, swipe, KeyChord{control | alt, KEY_DOWN}},
    // Show Desktop.
    {KeyCode::f11, EventFlag::secondaryFunction, KeyChord{super, KEY_D}},
    // Look Up. As Control+D it would end shells.
    {KeyCode::d, EventFlag::command | EventFlag::control, std::nullopt},
    // Zoom, with the keypad's keys: on many layouts plus and equals lie elsewhere, or on an accent.
    {KeyCode::equals, EventFlag::command, KeyChord{control, KEY_KPPLUS}},
    {KeyCode::minus, EventFlag::command, KeyChord{control, KEY_KPMINUS}},
    // The application switcher, and Spotlight.
    {tab, EventFlag::command, KeyChord{alt, KEY_TAB}},
    {space, EventFlag::command, KeyChord{super}},
    // Moving by lines, documents and words.
    {KeyCode::leftArrow, EventFlag::command, KeyChord{KeyModifier::none, KEY_HOME}},
    {KeyCode::rightArrow, EventFlag::command, KeyChord{KeyModifier::none, KEY_END}},
    {KeyCode::upArrow, EventFlag::command, KeyChord{control, KEY_HOME}},
    {KeyCode::downArrow, EventFlag::command, KeyChord{control, KEY_END}},
    {KeyCode::leftArrow, EventFlag::option, KeyChord{control, KEY_LEFT}},
    {KeyCode::rightArrow, EventFlag::option, KeyChord{control, KEY_RIGHT}},
    {backspace, EventFlag::option, KeyChord{control, KEY_BACKSPACE}},
};
// clang-format on

/// Each desktop's default shortcut for its launcher.
struct Launcher {
  std::string_view desktop;
  KeyChord chord;
};
constexpr Launcher launchers[] = {{"GNOME", {super, KEY_A, XKB_KEY_a}},
                                  {"Unity", {super, KEY_A, XKB_KEY_a}},
                                  {"KDE", {super}},
                                  {"X-Cinnamon", {super}},
                                  {"Budgie", {super}},
                                  {"Pantheon", {super}},
                                  {"XFCE", {alt, KEY_F1}},
                                  {"MATE", {alt, KEY_F1}},
                                  {"LXQt", {alt, KEY_F1}}};

/// Keys whose codes depend on the server's input driver, beyond the typewriter's part of the keyboard.
struct CursorKey {
  std::uint16_t linuxKeyCode;
  xkb_keysym_t symbol;
};
constexpr CursorKey cursorKeys[] = {{KEY_LEFT, XKB_KEY_Left}, {KEY_RIGHT, XKB_KEY_Right}, {KEY_UP, XKB_KEY_Up},
                                    {KEY_DOWN, XKB_KEY_Down}, {KEY_HOME, XKB_KEY_Home},   {KEY_END, XKB_KEY_End}};

/// What the typewriter's keys of a US keyboard mean. A phone that says "z" means the key that bears the letter in the
/// user's layout too: by its place, Undo would be Redo on a German keyboard.
struct KeyRow {
  std::uint16_t firstLinuxKeyCode;
  std::string_view characters;
};
constexpr KeyRow keyRows[] = {
    {KEY_1, "1234567890-="}, {KEY_Q, "qwertyuiop[]"}, {KEY_A, "asdfghjkl;'`"}, {KEY_BACKSLASH, "\\zxcvbnm,./"}};

/// The symbols of these characters have their numbers (Latin 1 of keysymdef.h).
KeyChord withSymbol(KeyChord chord) {
  const auto* const key = std::ranges::find(cursorKeys, chord.linuxKeyCode, &CursorKey::linuxKeyCode);
  if (key != std::end(cursorKeys)) chord.symbol = key->symbol;
  for (const KeyRow& row : keyRows) {
    const unsigned place = chord.linuxKeyCode - unsigned{row.firstLinuxKeyCode};
    if (place < row.characters.size()) chord.symbol = static_cast<unsigned char>(row.characters[place]);
  }
  return chord;
}

}  // namespace

KeyModifiers keyModifiersOf(EventFlags flags) {
  KeyModifiers modifiers = KeyModifier::none;
  if (flags & EventFlag::shift) modifiers |= KeyModifier::shift;
  if (flags & (EventFlag::command | EventFlag::control)) modifiers |= KeyModifier::control;
  if (flags & EventFlag::option) modifiers |= KeyModifier::alt;
  return modifiers;
}

std::optional<KeyChord> keyChordFor(std::uint16_t virtualKeyCode, EventFlags flags) {
  const EventFlags withoutShift = flags & ~EventFlag::shift;
  for (const Twin& twin : twins) {
    if (twin.virtualKeyCode != virtualKeyCode || twin.flags != withoutShift) continue;
    if (!twin.desktop.empty() && !isCurrentDesktop(twin.desktop)) continue;
    if (!twin.chord) return std::nullopt;
    KeyChord chord = withSymbol(*twin.chord);
    if (flags & EventFlag::shift) chord.modifiers |= KeyModifier::shift;
    return chord;
  }
  const auto linuxKeyCode = linuxKeyCodeOf(virtualKeyCode);
  if (!linuxKeyCode) return std::nullopt;
  return withSymbol({.modifiers = keyModifiersOf(flags), .linuxKeyCode = *linuxKeyCode});
}

std::optional<KeyChord> launcherChord() {
  for (const Launcher& launcher : launchers) {
    if (isCurrentDesktop(launcher.desktop)) return withSymbol(launcher.chord);
  }
  return std::nullopt;
}

}  // namespace tandemview
