#include "platform/linux/gnome/input/GnomeKeyLayout.h"

#include <algorithm>
#include <vector>

namespace tandemview {

namespace {

/// Wayland numbers keys as X does: Linux's numbers and 8.
constexpr xkb_keycode_t firstKeyCode = 8;

/// The compositor presses nothing, Shift or AltGr for a symbol; it can't press both.
constexpr xkb_level_index_t lastLevelBySymbol = 2;

}  // namespace

std::unique_ptr<GnomeKeyLayout> GnomeKeyLayout::read(std::string_view keymap) {
  constexpr auto flags =
      static_cast<xkb_context_flags>(XKB_CONTEXT_NO_DEFAULT_INCLUDES | XKB_CONTEXT_NO_ENVIRONMENT_NAMES);
  xkb_context* const context = xkb_context_new(flags);
  if (!context) return nullptr;
  xkb_context_set_log_level(context, XKB_LOG_LEVEL_CRITICAL);
  keymap = keymap.substr(0, keymap.find('\0'));
  xkb_keymap* const compiled = xkb_keymap_new_from_buffer(context, keymap.data(), keymap.size(),
                                                          XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS);
  if (!compiled) {
    xkb_context_unref(context);
    return nullptr;
  }
  return std::unique_ptr<GnomeKeyLayout>(new GnomeKeyLayout(context, compiled));
}

GnomeKeyLayout::~GnomeKeyLayout() {
  xkb_keymap_unref(keymap_);
  xkb_context_unref(context_);
}

std::optional<GnomeKey> GnomeKeyLayout::keyOf(char32_t character) const {
  const xkb_keysym_t symbol = xkb_utf32_to_keysym(character);
  const xkb_layout_index_t layouts = xkb_keymap_num_layouts(keymap_);
  if (symbol == XKB_KEY_NoSymbol || layouts == 0) return std::nullopt;
  GnomeKey key = {.symbol = symbol};
  for (xkb_layout_index_t layout = 0; layout < layouts; ++layout) {
    // Whichever level it finds first is the compositor's choice.
    const auto place = placeOf(symbol, layout, XKB_LEVEL_INVALID);
    if (!place || place->level > lastLevelBySymbol) return std::nullopt;
    key.bringsModifiers |= place->level > 0;
  }
  return key;
}

std::optional<GnomeKey> GnomeKeyLayout::keyOf(const KeyChord& chord) const {
  std::vector<Place> places;
  const xkb_layout_index_t layouts = chord.symbol == XKB_KEY_NoSymbol ? 0 : xkb_keymap_num_layouts(keymap_);
  for (xkb_layout_index_t layout = 0; layout < layouts; ++layout) {
    if (const auto place = placeOf(chord.symbol, layout, /*lastLevel=*/0)) places.push_back(*place);
  }
  if (places.empty()) {
    if (chord.linuxKeyCode == 0) return std::nullopt;
    return GnomeKey{.linuxKeyCode = chord.linuxKeyCode};
  }
  // On a layout without the letter programs go by what the key means in another one.
  const bool isOnOneKey = std::ranges::all_of(
      places, [&](const Place& place) { return place.linuxKeyCode == places.front().linuxKeyCode; });
  if (isOnOneKey || places.size() < layouts) return GnomeKey{.linuxKeyCode = places.front().linuxKeyCode};
  return GnomeKey{.symbol = chord.symbol};
}

/// The first key that has the symbol in a layout, and on which level.
std::optional<GnomeKeyLayout::Place> GnomeKeyLayout::placeOf(xkb_keysym_t symbol, xkb_layout_index_t layout,
                                                             xkb_level_index_t lastLevel) const {
  for (xkb_keycode_t key = xkb_keymap_min_keycode(keymap_); key <= xkb_keymap_max_keycode(keymap_); ++key) {
    const xkb_level_index_t levels = xkb_keymap_num_levels_for_key(keymap_, key, layout);
    for (xkb_level_index_t level = 0; level < levels && level <= lastLevel; ++level) {
      const xkb_keysym_t* symbols = nullptr;
      const int count = xkb_keymap_key_get_syms_by_level(keymap_, key, layout, level, &symbols);
      if (std::find(symbols, symbols + count, symbol) != symbols + count)
        return Place{.linuxKeyCode = key - firstKeyCode, .level = level};
    }
  }
  return std::nullopt;
}

}  // namespace tandemview
