#pragma once

#include <string>

namespace tandemview {

/// The shortest decimal text that reads back to the same double, with a point even for whole numbers: 3.0.
std::string floatingPointText(double value);

}  // namespace tandemview
