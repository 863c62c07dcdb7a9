#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <optional>

#include "runtime/Data.h"
#include "runtime/Error.h"

namespace tandemview {

/// A property list as a JSON value, which has every type that the daemon's messages use. A data object is a JSON
/// binary, a date its seconds since 2001, a UID its number.
using PropertyList = nlohmann::json;

/// Bounds of what is read, far above any message of the daemon's: how deep values may be within each other, and how
/// long a list may be. A binary one may not unfold to more than an XML one of this length can hold.
inline constexpr int deepestPropertyList = 64;
inline constexpr std::size_t longestPropertyList = 1024 * 1024;

/// Parses a dictionary from a property list, XML or binary; absent if it is malformed, no dictionary or beyond the
/// bounds.
std::optional<PropertyList> dictionaryWithContentsOfData(const Data& data);

/// The dictionary as an XML property list, the form of the packets to the daemon.
Result<Data> xmlPropertyList(const PropertyList& dictionary);

/// The dictionary as a binary property list. Absent, with a line printed, if it holds what no property list can.
std::optional<Data> createReferencingDispatchData(const PropertyList& dictionary);

}  // namespace tandemview
