#include "platform/linux/keys/PostedEvents.h"

#include <algorithm>

namespace tandemview {

namespace {

/// The one line break that is two characters.
constexpr std::u16string_view lineBreak = u"\r\n";

constexpr std::string_view launcherPath = "/System/Applications/Apps.app";

/// Well-formed UTF-16, as takeCharacter() makes it.
std::u32string scalars(std::u16string_view units) {
  std::u32string result;
  for (std::size_t index = 0; index < units.size(); ++index) {
    const char32_t unit = units[index];
    const bool isPair = (unit & 0xFC00) == 0xD800 && index + 1 < units.size();
    result += isPair ? 0x10000 + ((unit & 0x3FF) << 10) + (units[++index] & 0x3FF) : unit;
  }
  return result;
}

}  // namespace

bool isMovement(const MouseEvent& event) {
  return event.type == MouseEventType::Moved || event.type == MouseEventType::LeftDragged;
}

bool isPress(const MouseEvent& event) {
  return event.type == MouseEventType::LeftDown || event.type == MouseEventType::RightDown;
}

std::u32string typedCharacters(std::u16string_view text) {
  if (text == lineBreak) return U"\r";
  std::u32string characters = scalars(text);
  std::ranges::replace(characters, U'\n', U'\r');
  return characters;
}

bool isLauncher(std::string_view path) {
  return path == launcherPath;
}

}  // namespace tandemview
