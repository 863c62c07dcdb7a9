#include "platform/linux/gnome/session/ScreenPlan.h"

#include <algorithm>

namespace tandemview {

namespace {

using Screen = GnomeLayout::Screen;
using ScreenList = std::vector<Screen>;

bool showSameMonitors(const ScreenList& left, const ScreenList& right) {
  return std::ranges::is_permutation(left, right, {}, &Screen::connectors, &Screen::connectors);
}

/// The compositor wants no negative coordinates, none to spare, and one main screen.
ScreenList normalized(ScreenList screens) {
  if (screens.empty()) return screens;
  const std::int32_t left = std::ranges::min(screens, {}, &Screen::x).x;
  const std::int32_t top = std::ranges::min(screens, {}, &Screen::y).y;
  for (Screen& screen : screens) {
    screen.x -= left;
    screen.y -= top;
  }
  if (std::ranges::none_of(screens, &Screen::isMain)) screens.front().isMain = true;
  return screens;
}

/// In the order of `screens`, so that the two can be compared.
ScreenList inOrderOf(const ScreenList& screens, const ScreenList& planned) {
  ScreenList ordered;
  for (const Screen& screen : screens) {
    const auto found = std::ranges::find(planned, screen.connectors, &Screen::connectors);
    if (found != planned.end()) ordered.push_back(*found);
  }
  return ordered;
}

}  // namespace

Arrangement arrangementOf(const GnomeLayout& layout) {
  Arrangement arrangement;
  for (const GnomeLayout::Monitor* const monitor : layout.activeMonitors()) {
    const Screen& screen = *layout.screenOf(*monitor);
    const ScreenRectangle rectangle = layout.rectangle(screen);
    arrangement.push_back({.id = monitor->id,
                           .name = monitor->connector,
                           .x = screen.x,
                           .y = screen.y,
                           .width = static_cast<std::int32_t>(rectangle.width),
                           .height = static_cast<std::int32_t>(rectangle.height),
                           .isMain = screen.isMain});
  }
  return arrangement;
}

ScreenList withoutMonitor(const GnomeLayout& layout, DisplayID monitor) {
  ScreenList screens = layout.screens;
  const GnomeLayout::Monitor* const known = layout.monitor(monitor);
  const Screen* const shown = known ? layout.screenOf(*known) : nullptr;
  if (shown) std::erase(screens, *shown);
  return screens;
}

std::vector<ScreenList> plannedScreens(const GnomeLayout& layout, const GnomeLayout& before,
                                       std::optional<DisplayID> ours, const std::optional<DisplayPlace>& place) {
  const GnomeLayout::Monitor* const own = ours ? layout.monitor(*ours) : nullptr;
  const Screen* const ownScreen = own ? layout.screenOf(*own) : nullptr;
  ScreenList others = ours ? withoutMonitor(layout, *ours) : layout.screens;
  const ScreenList othersBefore = ours ? withoutMonitor(before, *ours) : before.screens;
  if (showSameMonitors(others, othersBefore)) others = othersBefore;
  if (!ownScreen) return {inOrderOf(layout.screens, normalized(others))};

  GnomeLayout planned = layout;
  planned.screens = others;
  Screen wanted = *ownScreen;
  wanted.scale = 1;
  if (std::ranges::any_of(others, &Screen::isMain)) wanted.isMain = false;
  const auto at = [&](std::int32_t x, std::int32_t y) {
    ScreenList screens = others;
    wanted.x = x;
    wanted.y = y;
    screens.push_back(wanted);
    return inOrderOf(layout.screens, normalized(screens));
  };
  std::vector<ScreenList> plans;
  const Arrangement arrangement = arrangementOf(planned);
  const auto origin = place ? place->origin(arrangement, *ours, static_cast<std::uint32_t>(own->size.width),
                                            static_cast<std::uint32_t>(own->size.height))
                            : std::nullopt;
  if (origin) plans.push_back(at(origin->x, origin->y));
  const auto right =
      std::ranges::max_element(arrangement, {}, [](const PlacedScreen& each) { return each.x + each.width; });
  plans.push_back(right == arrangement.end() ? at(0, 0) : at(right->x + right->width, right->y));
  return plans;
}

ScreenList movedScreens(const GnomeLayout& layout, const Screen& moved, std::int32_t x, std::int32_t y) {
  const auto main = std::ranges::find(layout.screens, true, &Screen::isMain);
  ScreenList screens = layout.screens;
  for (Screen& screen : screens) {
    if (screen != moved || main == layout.screens.end()) continue;
    screen.x = main->x + x;
    screen.y = main->y + y;
  }
  return normalized(screens);
}

}  // namespace tandemview
