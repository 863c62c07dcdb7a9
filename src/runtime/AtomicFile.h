#pragma once

#include <string>

#include "runtime/Error.h"

namespace tandemview {

/// Writes a file that is either the old or the new one for every reader, private to the user. It is made under a name
/// that nobody can guess and then renamed: a link that somebody laid at `path` is replaced, never followed.
Result<void> writeFileAtomically(const std::string& path, const std::string& text);

}  // namespace tandemview
