#include "platform/linux/x11/input/X11KeyLayout.h"

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <algorithm>
#include <functional>

namespace tandemview {

namespace {

struct ModifierKey {
  KeyModifiers modifier;
  xkb_keysym_t symbol;
};

constexpr ModifierKey modifierSymbols[] = {{KeyModifier::shift, XKB_KEY_Shift_L},
                                           {KeyModifier::control, XKB_KEY_Control_L},
                                           {KeyModifier::alt, XKB_KEY_Alt_L},
                                           {KeyModifier::super, XKB_KEY_Super_L},
                                           {KeyModifier::levelThree, XKB_KEY_ISO_Level3_Shift}};

/// Simplest first.
constexpr KeyModifiers typingModifiers[] = {KeyModifier::none, KeyModifier::shift, KeyModifier::levelThree,
                                            KeyModifier::shift | KeyModifier::levelThree};

/// Keymaps have keys that hardly any keyboard has, such as one that types a parenthesis. Programs that go by a key's
/// place don't know them.
bool isOnEveryKeyboard(xcb_keycode_t key) {
  const int linuxKeyCode = key - firstX11KeyCode;
  return linuxKeyCode <= KEY_SPACE || linuxKeyCode == KEY_102ND || linuxKeyCode == KEY_RO || linuxKeyCode == KEY_YEN;
}

/// Programs give the keypad meanings of its own.
bool isOfKeypad(xkb_keysym_t symbol) {
  return symbol >= XKB_KEY_KP_Space && symbol <= XKB_KEY_KP_Equal;
}

bool meansNothing(xkb_keymap* keymap, xkb_keycode_t key) {
  for (xkb_layout_index_t group = 0; group < xkb_keymap_num_layouts_for_key(keymap, key); ++group) {
    for (xkb_level_index_t level = 0; level < xkb_keymap_num_levels_for_key(keymap, key, group); ++level) {
      const xkb_keysym_t* symbols = nullptr;
      if (xkb_keymap_key_get_syms_by_level(keymap, key, group, level, &symbols) > 0) return false;
    }
  }
  return true;
}

}  // namespace

std::unique_ptr<X11KeyLayout> X11KeyLayout::read(const X11Connection& connection, std::int32_t device) {
  constexpr auto flags =
      static_cast<xkb_context_flags>(XKB_CONTEXT_NO_DEFAULT_INCLUDES | XKB_CONTEXT_NO_ENVIRONMENT_NAMES);
  xkb_context* const context = xkb_context_new(flags);
  if (!context) return nullptr;
  xkb_context_set_log_level(context, XKB_LOG_LEVEL_CRITICAL);
  xkb_keymap* const keymap =
      xkb_x11_keymap_new_from_device(context, connection.get(), device, XKB_KEYMAP_COMPILE_NO_FLAGS);
  if (!keymap) {
    xkb_context_unref(context);
    return nullptr;
  }
  return std::unique_ptr<X11KeyLayout>(new X11KeyLayout(context, keymap));
}

X11KeyLayout::~X11KeyLayout() {
  xkb_keymap_unref(keymap_);
  xkb_context_unref(context_);
}

std::optional<std::vector<xcb_keycode_t>> X11KeyLayout::keysOf(KeyModifiers modifiers) const {
  std::vector<xcb_keycode_t> keys;
  for (const ModifierKey& candidate : modifierSymbols) {
    if (!(modifiers & candidate.modifier)) continue;
    const auto key = keyOf(candidate.symbol);
    if (!key) return std::nullopt;
    keys.push_back(*key);
  }
  return keys;
}

bool X11KeyLayout::isModifier(xcb_keycode_t key) const {
  xkb_state* const state = xkb_state_new(keymap_);
  if (!state) return false;
  xkb_state_update_key(state, key, XKB_KEY_DOWN);
  const bool shifts = xkb_state_serialize_mods(state, XKB_STATE_MODS_DEPRESSED) != 0;
  const bool locks = xkb_state_serialize_mods(state, XKB_STATE_MODS_LOCKED) != 0;
  xkb_state_unref(state);
  return shifts && !locks;
}

std::uint8_t X11KeyLayout::groupCount() const {
  return static_cast<std::uint8_t>(xkb_keymap_num_layouts(keymap_));
}

std::optional<X11KeyStroke> X11KeyLayout::strokeFor(char32_t character, std::uint8_t group, std::uint8_t held) {
  if (held_ != held) {
    held_ = held;
    collectStrokes();
  }
  for (const std::vector<Strokes>& strokes : {std::cref(strokes_), std::cref(rareStrokes_)}) {
    for (std::size_t count = 0; count < strokes.size(); ++count) {
      const Strokes& ofGroup = strokes[(group + count) % strokes.size()];
      const auto found = ofGroup.find(character);
      if (found != ofGroup.end()) return found->second;
    }
  }
  return std::nullopt;
}

std::vector<xcb_keycode_t> X11KeyLayout::unusedKeys() const {
  std::vector<xcb_keycode_t> keys;
  for (xkb_keycode_t key = xkb_keymap_min_keycode(keymap_); key <= xkb_keymap_max_keycode(keymap_); ++key) {
    if (meansNothing(keymap_, key)) keys.push_back(static_cast<xcb_keycode_t>(key));
  }
  return keys;
}

xkb_keysym_t X11KeyLayout::symbolOf(xcb_keycode_t key, std::uint8_t group) const {
  const xkb_keysym_t* symbols = nullptr;
  const int count = xkb_keymap_key_get_syms_by_level(keymap_, key, group, /*level=*/0, &symbols);
  return count == 1 ? symbols[0] : xkb_keysym_t{XKB_KEY_NoSymbol};
}

void X11KeyLayout::collectStrokes() {
  strokes_.assign(groupCount(), {});
  rareStrokes_.assign(groupCount(), {});
  xkb_state* const state = xkb_state_new(keymap_);
  if (!state) return;
  for (std::uint8_t group = 0; group < groupCount(); ++group) {
    for (const KeyModifiers modifiers : typingModifiers) {
      const auto keys = keysOf(modifiers);
      if (!keys) continue;
      xkb_state_update_mask(state, *held_ | maskOf(*keys), 0, 0, 0, 0, group);
      collectStrokes(state, modifiers, group);
    }
  }
  xkb_state_unref(state);
}

void X11KeyLayout::collectStrokes(xkb_state* state, KeyModifiers modifiers, std::uint8_t group) {
  for (xkb_keycode_t key = xkb_keymap_min_keycode(keymap_); key <= xkb_keymap_max_keycode(keymap_); ++key) {
    const xkb_keysym_t symbol = xkb_state_key_get_one_sym(state, key);
    const char32_t character = isOfKeypad(symbol) ? 0 : xkb_keysym_to_utf32(symbol);
    const auto code = static_cast<xcb_keycode_t>(key);
    if (character == 0 || std::ranges::count(excluded_, code) > 0) continue;
    Strokes& strokes = isOnEveryKeyboard(code) ? strokes_[group] : rareStrokes_[group];
    strokes.try_emplace(character, X11KeyStroke{.key = code, .modifiers = modifiers, .group = group});
  }
}

std::optional<xcb_keycode_t> X11KeyLayout::keyOf(xkb_keysym_t symbol, std::uint8_t group) const {
  for (xkb_keycode_t key = xkb_keymap_min_keycode(keymap_); key <= xkb_keymap_max_keycode(keymap_); ++key) {
    if (symbolOf(static_cast<xcb_keycode_t>(key), group) == symbol) return static_cast<xcb_keycode_t>(key);
  }
  return std::nullopt;
}

/// The real modifiers that holding the keys brings.
xkb_mod_mask_t X11KeyLayout::maskOf(const std::vector<xcb_keycode_t>& keys) const {
  xkb_state* const state = xkb_state_new(keymap_);
  if (!state) return 0;
  for (const xcb_keycode_t key : keys) xkb_state_update_key(state, key, XKB_KEY_DOWN);
  const xkb_mod_mask_t mask = xkb_state_serialize_mods(state, XKB_STATE_MODS_DEPRESSED);
  xkb_state_unref(state);
  return mask;
}

}  // namespace tandemview
