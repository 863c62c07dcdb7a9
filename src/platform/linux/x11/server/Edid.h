#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>

namespace tandemview {

/// The product name that a monitor gives itself in its EDID. Absent if it gives none or the bytes are no EDID.
std::optional<std::string> edidProductName(std::span<const std::byte> edid);

}  // namespace tandemview
