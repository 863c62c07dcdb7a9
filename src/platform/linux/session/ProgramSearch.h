#pragma once

#include <optional>
#include <string>

namespace tandemview {

/// Where $PATH has the program `name`; absent if it is not installed.
std::optional<std::string> pathOfProgram(const std::string& name);

}  // namespace tandemview
