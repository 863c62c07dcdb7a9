#pragma once

#include <cstddef>
#include <string>

#include "runtime/Error.h"

namespace tandemview {

/// All that a regular file holds. Whatever else may stand in its place (a directory, a pipe, a device) and more than
/// `limit` bytes are errors; it never waits.
Result<std::string> contentsOfRegularFile(const std::string& path, std::size_t limit = 1 << 20);

}  // namespace tandemview
