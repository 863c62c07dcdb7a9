#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "runtime/Error.h"

namespace tandemview {

/// Writes a file that appears under its name all at once or, with an error, not at all.
std::optional<Error> writeWholeFile(const std::string& path, std::string_view content);

/// The error that writeWholeFile() would meet now, as far as can be told before there is something to write.
std::optional<Error> obstacleToWholeFile(const std::string& path);

}  // namespace tandemview
