#include "platform/linux/gnome/session/GnomeLayout.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tandemview {

const GnomeLayout::Monitor* GnomeLayout::monitor(DisplayID id) const {
  const auto found = std::ranges::find(monitors, id, &Monitor::id);
  return found == monitors.end() ? nullptr : &*found;
}

const GnomeLayout::Monitor* GnomeLayout::monitor(const std::string& connector) const {
  const auto found = std::ranges::find(monitors, connector, &Monitor::connector);
  return found == monitors.end() ? nullptr : &*found;
}

const GnomeLayout::Screen* GnomeLayout::screenOf(const Monitor& monitor) const {
  const auto found = std::ranges::find_if(
      screens, [&](const Screen& screen) { return std::ranges::count(screen.connectors, monitor.connector) > 0; });
  return found == screens.end() ? nullptr : &*found;
}

std::vector<const GnomeLayout::Monitor*> GnomeLayout::activeMonitors() const {
  std::vector<const Monitor*> active;
  for (const Screen& screen : screens) {
    const Monitor* const first = screen.connectors.empty() ? nullptr : monitor(screen.connectors.front());
    if (first) active.push_back(first);
  }
  return active;
}

ScreenRectangle GnomeLayout::rectangle(const Screen& screen) const {
  const Monitor* const first = screen.connectors.empty() ? nullptr : monitor(screen.connectors.front());
  if (!first) return {};
  auto [width, height] = first->size;
  if (screen.transform % 2 == 1) std::swap(width, height);
  const double scale = countsPixels ? 1 : screen.scale;
  return {.x = static_cast<double>(screen.x),
          .y = static_cast<double>(screen.y),
          .width = std::round(static_cast<double>(width) / scale),
          .height = std::round(static_cast<double>(height) / scale)};
}

ScreenRectangle GnomeLayout::bounds(DisplayID id) const {
  const Monitor* const known = monitor(id);
  const Screen* const screen = known ? screenOf(*known) : nullptr;
  if (!screen) return {};
  ScreenRectangle bounds = rectangle(*screen);
  const auto main = std::ranges::find(screens, true, &Screen::isMain);
  if (main == screens.end()) return bounds;
  bounds.x -= main->x;
  bounds.y -= main->y;
  return bounds;
}

}  // namespace tandemview
