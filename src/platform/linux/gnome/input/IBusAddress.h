#pragma once

#include <optional>
#include <string>

namespace tandemview {

/// Where the session's IBus daemon listens: what its file in the user's settings says, for the compositor that
/// $WAYLAND_DISPLAY names. Absent if there is none.
std::optional<std::string> ibusAddress();

}  // namespace tandemview
