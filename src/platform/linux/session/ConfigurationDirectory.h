#pragma once

#include <string>

namespace tandemview {

/// Where the user's settings are, as XDG lays down for base directories: $XDG_CONFIG_HOME, or "~/.config".
std::string configurationDirectory();

}  // namespace tandemview
