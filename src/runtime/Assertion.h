#pragma once

namespace tandemview {

/// Stops the program with `text` unless `condition` holds. For programming errors only; bad input is a value.
void require(bool condition, const char* text);

}  // namespace tandemview
