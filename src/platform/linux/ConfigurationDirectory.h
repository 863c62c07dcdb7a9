#pragma once

#include <string>

namespace tandemview {

/// Where the user's settings are, by the XDG Base Directory Specification: $XDG_CONFIG_HOME, or "~/.config".
std::string configurationDirectory();

}  // namespace tandemview
