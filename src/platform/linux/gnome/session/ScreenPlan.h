#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/linux/gnome/session/GnomeLayout.h"
#include "platform/linux/places/DisplayPlace.h"

namespace tandemview {

/// The screens by their connectors' names.
Arrangement arrangementOf(const GnomeLayout& layout);

/// The screens but the one that this monitor shows.
std::vector<GnomeLayout::Screen> withoutMonitor(const GnomeLayout& layout, DisplayID monitor);

/// The arrangements that `layout`'s screens should have, the best first: the others where they were in `before`, while
/// those are the same monitors; `ours`, if it is among them, unscaled at `place`, or else to the right of all.
std::vector<std::vector<GnomeLayout::Screen>> plannedScreens(const GnomeLayout& layout, const GnomeLayout& before,
                                                             std::optional<DisplayID> ours,
                                                             const std::optional<DisplayPlace>& place);

/// `layout`'s screens with one of them moved to a place in relation to the main one's corner.
std::vector<GnomeLayout::Screen> movedScreens(const GnomeLayout& layout, const GnomeLayout::Screen& moved,
                                              std::int32_t x, std::int32_t y);

}  // namespace tandemview
