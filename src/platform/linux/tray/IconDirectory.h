#pragma once

#include <string>

namespace tandemview {

/// The directory above "hicolor" with the program's icons: beside the executable's in an installation, among the
/// sources for a program that runs where it was built.
std::string iconDirectory(const std::string& executablePath);

}  // namespace tandemview
