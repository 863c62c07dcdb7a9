#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>

#include "runtime/Data.h"
#include "runtime/Error.h"

namespace tandemview {

/// A property list as a JSON value, which has every type that the daemon's messages use. A data object is a JSON
/// binary, a date its seconds since 2001, a UID its number.
using PropertyList = nlohmann::json;

/// Parses a dictionary from a property list, XML or binary; absent if it is malformed, no dictionary, nested deeper
/// than 64 levels, or holds a NUL or a numeric character reference.
std::optional<PropertyList> dictionaryWithContentsOfData(const Data& data);

/// The dictionary as an XML property list, the form of the packets to the daemon.
Result<Data> xmlPropertyList(const PropertyList& dictionary);

/// The dictionary as a binary property list. Absent, with a line printed, if it holds what no property list can.
std::optional<Data> createReferencingDispatchData(const PropertyList& dictionary);

}  // namespace tandemview
