#pragma once

#include <optional>
#include <string>

namespace tandemview {

/// The product name of the first display that the I/O registry knows by name, vendor and product; absent if it knows
/// none. The registry ties no name to a display's number.
std::optional<std::string> firstProductName();

}  // namespace tandemview
