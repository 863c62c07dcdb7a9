#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace tandemview {

/// The letters of what the window itself says, as bitmaps: there is no font to be found or missed.
namespace WindowFont {

inline constexpr int width = 8;
inline constexpr int height = 13;

/// A row is a byte, its leftmost pixel the highest bit.
using Glyph = std::array<std::uint8_t, height>;

/// A question mark for what is beyond Latin 1.
const Glyph& glyph(char32_t character);

/// Of UTF-8, each with a glyph; what has none counts as one.
std::u32string characters(std::string_view text);

}  // namespace WindowFont

}  // namespace tandemview
