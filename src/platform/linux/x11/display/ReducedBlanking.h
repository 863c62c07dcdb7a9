#pragma once

#include <xcb/randr.h>

#include <optional>

#include "display/DisplaySystem.h"

namespace tandemview {

/// The timing of a mode of exactly this size and refresh rate, with the short blanking that flat screens need.
/// Absent if RandR's fields can't hold it. The mode has no name yet.
std::optional<xcb_randr_mode_info_t> reducedBlankingTiming(const VirtualDisplayMode& mode);

}  // namespace tandemview
