#pragma once

#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/linux/keys/KeyChord.h"

namespace tandemview {

/// A key as the compositor takes it: by its place (of input-event-codes.h), or by a symbol that it looks for in the
/// layout that is active.
struct GnomeKey {
  std::uint32_t linuxKeyCode = 0;  // 0: by the symbol
  xkb_keysym_t symbol = XKB_KEY_NoSymbol;
  bool bringsModifiers = false;  // the compositor presses Shift or AltGr with it

  bool operator==(const GnomeKey&) const = default;
};

/// What the keys of the session mean. The user may have several layouts, and which of them is active isn't told: what
/// is said here holds in all of them.
class GnomeKeyLayout {
 public:
  /// Null for a text that is no keymap of XKB.
  static std::unique_ptr<GnomeKeyLayout> read(std::string_view keymap);

  GnomeKeyLayout(const GnomeKeyLayout&) = delete;
  GnomeKeyLayout& operator=(const GnomeKeyLayout&) = delete;
  ~GnomeKeyLayout();

  /// How `character` is typed; absent if one of the layouts doesn't have it.
  std::optional<GnomeKey> keyOf(char32_t character) const;

  /// The key of a chord: the one that bears its symbol, or else the one at its place. Absent for modifiers alone.
  std::optional<GnomeKey> keyOf(const KeyChord& chord) const;

 private:
  struct Place {
    std::uint32_t linuxKeyCode = 0;
    xkb_level_index_t level = 0;
  };

  GnomeKeyLayout(xkb_context* context, xkb_keymap* keymap) : context_(context), keymap_(keymap) {}

  std::optional<Place> placeOf(xkb_keysym_t symbol, xkb_layout_index_t layout, xkb_level_index_t lastLevel) const;

  xkb_context* const context_;
  xkb_keymap* const keymap_;
};

}  // namespace tandemview
