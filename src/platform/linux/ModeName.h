#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tandemview {

/// A name for a display mode that this process makes. It tells the maker, as modes outlive a process that is killed;
/// no two are alike.
std::string newModeName(std::uint32_t width, std::uint32_t height);

/// The process that made the mode of this name; absent for a mode that isn't one of ours.
std::optional<pid_t> modeOwner(std::string_view name);

}  // namespace tandemview
