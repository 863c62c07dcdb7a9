#include "companion/WindowKeys.h"

#include <SDL_events.h>

#include <algorithm>
#include <nlohmann/json.hpp>

namespace tandemview {

namespace {

constexpr int shortcutModifiers = KMOD_CTRL | KMOD_LALT | KMOD_GUI;

/// The keys that have a name in the protocol. Deleting forwards has none.
struct NamedKey {
  int key;
  const char* name;
};
constexpr NamedKey namedKeys[] = {{SDLK_RETURN, "return"}, {SDLK_KP_ENTER, "enter"},      {SDLK_TAB, "tab"},
                                  {SDLK_LEFT, "left"},     {SDLK_RIGHT, "right"},         {SDLK_UP, "up"},
                                  {SDLK_DOWN, "down"},     {SDLK_BACKSPACE, "backspace"}, {SDLK_ESCAPE, "escape"}};

/// The keys that have none, and what does the same on the host. With Control they go to the text's ends.
struct Chord {
  int key;
  const char* name;
  const char* nameWithControl;
};
constexpr Chord chords[] = {{SDLK_HOME, "left", "up"}, {SDLK_END, "right", "down"}};

/// What a clipboard holds beyond this is not typed: the host types for minutes as it is.
constexpr std::size_t mostPasted = 100'000;

std::string dumped(const nlohmann::json& message) {
  return message.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

/// A key that types a character is numbered by it.
bool isCharacter(int key) {
  return key >= SDLK_SPACE && key != SDLK_DELETE && (key & SDLK_SCANCODE_MASK) == 0;
}

nlohmann::json modifierNames(int modifiers) {
  nlohmann::json names = nlohmann::json::array();
  if (modifiers & KMOD_GUI) names.push_back("cmd");
  if (modifiers & KMOD_SHIFT) names.push_back("shift");
  if (modifiers & KMOD_LALT) names.push_back("option");
  if (modifiers & KMOD_CTRL) names.push_back("control");
  return names;
}

}  // namespace

void WindowKeys::handle(const SDL_Event& event) {
  if (event.type == SDL_KEYDOWN) return press(event.key.keysym.sym, event.key.keysym.mod);
  if (event.type != SDL_TEXTINPUT || isShortcut_) return;
  type(event.text.text);
}

void WindowKeys::type(const std::string& text) {
  if (!text.empty()) send_(dumped({{"kind", "key"}, {"action", "text"}, {"text", text}}));
}

void WindowKeys::press(int key, int modifiers) {
  isShortcut_ = (modifiers & shortcutModifiers) != 0;
  const bool hasControlAndShift = (modifiers & KMOD_CTRL) && (modifiers & KMOD_SHIFT);
  if (key == SDLK_v && hasControlAndShift && !(modifiers & (KMOD_LALT | KMOD_GUI))) {
    return type(clipboard_().substr(0, mostPasted));
  }
  const auto* const chord = std::ranges::find(chords, key, &Chord::key);
  if (chord != std::end(chords)) {
    const char* const arrow = modifiers & KMOD_CTRL ? chord->nameWithControl : chord->name;
    return send(arrow, modifierNames((modifiers & KMOD_SHIFT) | KMOD_LGUI));
  }
  const auto* const named = std::ranges::find(namedKeys, key, &NamedKey::key);
  std::string name;
  if (named != std::end(namedKeys)) {
    name = named->name;
  } else if (isShortcut_ && isCharacter(key)) {
    name = SDL_GetKeyName(key);  // the character, or "Space"
  } else {
    return;
  }
  send(name, modifierNames(modifiers));
}

void WindowKeys::send(const std::string& name, const nlohmann::json& modifiers) {
  send_(dumped({{"kind", "key"}, {"action", "key"}, {"key", name}, {"modifiers", modifiers}}));
}

}  // namespace tandemview
