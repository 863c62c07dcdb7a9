#pragma once

#include <string>

#include "runtime/Error.h"

namespace tandemview {

/// All that a file holds.
Result<std::string> contentsOfFile(const std::string& path);

}  // namespace tandemview
