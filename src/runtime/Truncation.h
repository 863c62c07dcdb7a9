#pragma once

#include <cstdint>

namespace tandemview {

/// The integer part of `value`. A value that is not finite or doesn't fit stops the program.
std::int64_t truncated(double value);

}  // namespace tandemview
