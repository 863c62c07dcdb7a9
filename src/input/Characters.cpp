#include "input/Characters.h"

#include <utf8proc.h>

namespace tandemview {

namespace {

constexpr utf8proc_int32_t replacementCharacter = 0xFFFD;
constexpr utf8proc_int32_t capitalIWithDot = 0x130;

struct Scalar {
  utf8proc_int32_t value = 0;
  std::size_t length = 0;  // bytes
};

Scalar firstScalar(std::string_view text) {
  Scalar scalar;
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  const utf8proc_ssize_t length = utf8proc_iterate(bytes, static_cast<utf8proc_ssize_t>(text.size()), &scalar.value);
  if (length <= 0) return {replacementCharacter, 1};
  scalar.length = static_cast<std::size_t>(length);
  return scalar;
}

void appendUTF16(std::u16string& units, utf8proc_int32_t scalar) {
  if (scalar < 0x10000) {
    units += static_cast<char16_t>(scalar);
    return;
  }
  const utf8proc_int32_t offset = scalar - 0x10000;
  units += static_cast<char16_t>(0xD800 + (offset >> 10));
  units += static_cast<char16_t>(0xDC00 + (offset & 0x3FF));
}

void appendUTF8(std::string& text, utf8proc_int32_t scalar) {
  utf8proc_uint8_t bytes[4];
  const utf8proc_ssize_t length = utf8proc_encode_char(scalar, bytes);
  text.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
}

}  // namespace

std::u16string takeCharacter(std::string_view& text) {
  std::u16string units;
  Scalar scalar = firstScalar(text);
  utf8proc_int32_t state = 0;
  while (true) {
    appendUTF16(units, scalar.value);
    text.remove_prefix(scalar.length);
    if (text.empty()) return units;
    const utf8proc_int32_t previous = scalar.value;
    scalar = firstScalar(text);
    if (utf8proc_grapheme_break_stateful(previous, scalar.value, &state)) return units;
  }
}

std::string lowercased(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const Scalar scalar = firstScalar(text);
    text.remove_prefix(scalar.length);
    appendUTF8(result, utf8proc_tolower(scalar.value));
    // The one character whose lower case is two (SpecialCasing.txt); the library knows only the first of them.
    if (scalar.value == capitalIWithDot) result += "\u0307";
  }
  return result;
}

}  // namespace tandemview
