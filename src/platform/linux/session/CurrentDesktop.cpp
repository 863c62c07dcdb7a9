#include "platform/linux/session/CurrentDesktop.h"

#include <algorithm>
#include <cstdlib>

namespace tandemview {

bool isCurrentDesktop(std::string_view name) {
  const char* const variable = std::getenv("XDG_CURRENT_DESKTOP");
  std::string_view names = variable ? variable : "";
  while (!names.empty()) {
    const std::string_view first = names.substr(0, names.find(':'));
    if (first == name) return true;
    names.remove_prefix(std::min(first.size() + 1, names.size()));
  }
  return false;
}

}  // namespace tandemview
