#include "runtime/FloatingPointText.h"

#include <fmt/format.h>

namespace tandemview {

std::string floatingPointText(double value) {
  std::string text = fmt::format("{}", value);
  if (text.find_first_not_of("-0123456789") == std::string::npos) text += ".0";
  return text;
}

}  // namespace tandemview
