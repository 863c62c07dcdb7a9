#pragma once

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "platform/linux/keys/KeyChord.h"
#include "platform/linux/x11/server/X11Connection.h"

namespace tandemview {

/// Linux numbers its keys from 1, X from 8 more (the evdev rules of xkeyboard-config).
inline constexpr int firstX11KeyCode = 8;

/// How a layout types a character: a key, what must be held beside what is held already, and the group of the layout
/// that must be active.
struct X11KeyStroke {
  xcb_keycode_t key = 0;
  KeyModifiers modifiers = KeyModifier::none;  // Shift and AltGr only
  std::uint8_t group = 0;
};

/// What the keys of a keyboard meant at one moment.
class X11KeyLayout {
 public:
  /// Null if the server is gone. xkb_x11_setup_xkb_extension() must have set the connection up.
  static std::unique_ptr<X11KeyLayout> read(const X11Connection& connection, std::int32_t device);

  X11KeyLayout(const X11KeyLayout&) = delete;
  X11KeyLayout& operator=(const X11KeyLayout&) = delete;
  ~X11KeyLayout();

  /// The key codes of modifier keys; absent if the layout lacks one of them.
  std::optional<std::vector<xcb_keycode_t>> keysOf(KeyModifiers modifiers) const;

  /// Never answers with these keys when asked for a character's.
  void exclude(std::vector<xcb_keycode_t> keys) { excluded_ = std::move(keys); }

  /// Whether the key changes what others mean for as long as it is held: Shift does, Caps Lock doesn't.
  bool isModifier(xcb_keycode_t key) const;

  /// How many layouts it consists of, between which the user switches.
  std::uint8_t groupCount() const;

  /// How `character` is typed while `held` (real modifiers, XCB_MOD_MASK_*) is in force: in the `group` that is active
  /// if it has the character, or else in another one. Absent if no key outside the keypad does it.
  std::optional<X11KeyStroke> strokeFor(char32_t character, std::uint8_t group, std::uint8_t held);

  /// The key codes that mean nothing.
  std::vector<xcb_keycode_t> unusedKeys() const;

  /// The first key that means `symbol` in the group with nothing held.
  std::optional<xcb_keycode_t> keyOf(xkb_keysym_t symbol, std::uint8_t group = 0) const;

  /// What a key means in the group with nothing held; XKB_KEY_NoSymbol if nothing.
  xkb_keysym_t symbolOf(xcb_keycode_t key, std::uint8_t group = 0) const;

 private:
  /// Those of one group, by character.
  using Strokes = std::unordered_map<char32_t, X11KeyStroke>;

  X11KeyLayout(xkb_context* context, xkb_keymap* keymap) : context_(context), keymap_(keymap) {}

  void collectStrokes();
  void collectStrokes(xkb_state* state, KeyModifiers modifiers, std::uint8_t group);
  xkb_mod_mask_t maskOf(const std::vector<xcb_keycode_t>& modifierKeys) const;

  xkb_context* const context_;
  xkb_keymap* const keymap_;
  std::vector<xcb_keycode_t> excluded_;
  std::optional<std::uint8_t> held_;  // under which the strokes are
  std::vector<Strokes> strokes_;      // of each group, on the keys that every keyboard has
  std::vector<Strokes> rareStrokes_;  // on the other keys
};

}  // namespace tandemview
