#include "input/KeyCodes.h"

#include <unordered_map>

namespace tandemview {

std::optional<std::uint16_t> keyCodeOf(std::string_view key) {
  // A phone's "enter" means the main Return key, and its "delete" deletes backwards.
  // clang-format off
  static const std::unordered_map<std::string_view, std::uint16_t> codes = {
      {"return", 36}, {"enter", 36}, {"tab", 48}, {"space", 49}, {"delete", 51}, {"backspace", 51}, {"escape", 53},
      {"left", KeyCode::leftArrow}, {"right", KeyCode::rightArrow}, {"down", KeyCode::downArrow},
      {"up", KeyCode::upArrow},

      {"a", 0}, {"s", 1}, {"d", KeyCode::d}, {"f", 3}, {"h", 4}, {"g", 5}, {"z", 6}, {"x", 7}, {"c", 8}, {"v", 9},
      {"b", 11}, {"q", 12}, {"w", 13}, {"e", 14}, {"r", 15}, {"y", 16}, {"t", 17}, {"1", 18}, {"2", 19}, {"3", 20},
      {"4", 21}, {"6", 22}, {"5", 23}, {"=", KeyCode::equals}, {"9", 25}, {"7", 26}, {"-", KeyCode::minus}, {"8", 28},
      {"0", 29}, {"]", 30}, {"o", 31}, {"u", 32}, {"[", 33}, {"i", 34}, {"p", 35}, {"l", 37}, {"j", 38}, {"'", 39},
      {"k", 40}, {";", 41}, {"\\", 42}, {",", 43}, {"/", 44}, {"n", 45}, {"m", 46}, {".", 47}, {"`", 50},
  };
  // clang-format on
  const auto found = codes.find(key);
  if (found == codes.end()) return std::nullopt;
  return found->second;
}

}  // namespace tandemview
