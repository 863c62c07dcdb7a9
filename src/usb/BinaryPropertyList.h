#pragma once

#include <cstddef>
#include <optional>
#include <span>

#include "usb/PropertyList.h"

namespace tandemview {

/// The value of a binary property list; absent if it is malformed, nested too deep or unfolds to too much. The format
/// is described in the comments of CFBinaryPList.c in Apple's CF-Lite sources.
std::optional<PropertyList> propertyListFromBinary(std::span<const std::byte> bytes);

}  // namespace tandemview
