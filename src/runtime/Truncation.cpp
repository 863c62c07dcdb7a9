#include "runtime/Truncation.h"

#include "runtime/Assertion.h"

namespace tandemview {

std::int64_t truncated(double value) {
  constexpr double limit = 9223372036854775808.0;  // 2^63; false for a value that is not a number
  require(value >= -limit && value < limit, "a number that fits an integer");
  return static_cast<std::int64_t>(value);
}

}  // namespace tandemview
