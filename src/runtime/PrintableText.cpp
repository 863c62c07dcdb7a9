#include "runtime/PrintableText.h"

#include <utf8proc.h>

namespace tandemview {

namespace {

bool isControl(utf8proc_int32_t character) {
  constexpr utf8proc_int32_t lineSeparator = 0x2028;
  constexpr utf8proc_int32_t paragraphSeparator = 0x2029;
  return utf8proc_category(character) == UTF8PROC_CATEGORY_CC || character == lineSeparator ||
         character == paragraphSeparator;
}

/// Unicode's property Bidi_Control (Unicode Standard Annex #9): the marks, embeddings, overrides and isolates.
bool turnsDirection(utf8proc_int32_t character) {
  return character == 0x061C || character == 0x200E || character == 0x200F ||
         (character >= 0x202A && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
}

}  // namespace

std::string printableText(std::string_view text) {
  std::string printable;
  printable.reserve(text.size());
  while (!text.empty()) {
    utf8proc_int32_t character = 0;
    const utf8proc_ssize_t length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                                     static_cast<utf8proc_ssize_t>(text.size()), &character);
    const bool isEncoded = length > 0;
    const std::string_view taken = text.substr(0, isEncoded ? static_cast<std::size_t>(length) : 1);
    printable += !isEncoded || isControl(character) || turnsDirection(character) ? " " : taken;
    text.remove_prefix(taken.size());
  }
  return printable;
}

}  // namespace tandemview
