#pragma once

#include <CoreGraphics/CoreGraphics.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace tandemview {

/// The displays that show a picture: how many; which, in the system's order, at most `limit`. Absent on failure.
std::optional<std::uint32_t> activeDisplayCount();
std::optional<std::vector<std::uint32_t>> activeDisplayList(std::uint32_t limit);

/// In the global screen space, also of a display that shows nothing now because it sleeps or mirrors another one; empty
/// for one that the system doesn't know.
CGRect displayBounds(std::uint32_t display);

}  // namespace tandemview
