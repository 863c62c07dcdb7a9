#pragma once

#include <optional>
#include <string_view>

#include "usb/PropertyList.h"

namespace tandemview {

/// The value of an XML property list; absent if it is malformed or nested too deep. Reads what daemons write: neither
/// CDATA, nor declared entities, nor numeric character references.
std::optional<PropertyList> propertyListFromXML(std::string_view text);

}  // namespace tandemview
