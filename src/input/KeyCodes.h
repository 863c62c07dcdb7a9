#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tandemview {

/// Virtual key codes: places on a US (ANSI) keyboard, numbered as in HIToolbox's Events.h (kVK_*).
namespace KeyCode {
inline constexpr std::uint16_t d = 2;
inline constexpr std::uint16_t equals = 24;
inline constexpr std::uint16_t minus = 27;
inline constexpr std::uint16_t f11 = 103;
inline constexpr std::uint16_t leftArrow = 123;
inline constexpr std::uint16_t rightArrow = 124;
inline constexpr std::uint16_t downArrow = 125;
inline constexpr std::uint16_t upArrow = 126;
}  // namespace KeyCode

/// The code of a key that bears a name ("return", "left") or types a character ("a", ";"), given in lower case.
std::optional<std::uint16_t> keyCodeOf(std::string_view key);

}  // namespace tandemview
