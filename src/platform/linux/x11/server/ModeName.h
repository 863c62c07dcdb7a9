#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tandemview {

/// A name for a display mode that `owner`, an X11Claim's name, makes. It tells the maker, as modes outlive a process
/// that is killed; no two are alike.
std::string newModeName(std::string_view owner, std::uint32_t width, std::uint32_t height);

/// Who made the mode of this name; absent for a mode that isn't one of ours. A part of `name`.
std::optional<std::string_view> modeOwner(std::string_view name);

}  // namespace tandemview
