#include "platform/linux/gnome/display/GnomeScreens.h"

namespace tandemview {

std::optional<std::uint32_t> GnomeScreens::activeDisplayCount() const {
  return static_cast<std::uint32_t>(session_->layout().activeMonitors().size());
}

std::optional<std::vector<DisplayID>> GnomeScreens::activeDisplays(std::uint32_t limit) const {
  const GnomeLayout layout = session_->layout();
  std::vector<DisplayID> displays;
  for (const GnomeLayout::Monitor* const monitor : layout.activeMonitors()) {
    if (displays.size() < limit) displays.push_back(monitor->id);
  }
  return displays;
}

PixelSize GnomeScreens::pixelSize(DisplayID display) const {
  const GnomeLayout layout = session_->layout();
  const GnomeLayout::Monitor* const monitor = layout.monitor(display);
  return monitor ? monitor->size : PixelSize();
}

bool GnomeScreens::isMain(DisplayID display) const {
  const GnomeLayout layout = session_->layout();
  const GnomeLayout::Monitor* const monitor = layout.monitor(display);
  const GnomeLayout::Screen* const screen = monitor ? layout.screenOf(*monitor) : nullptr;
  return screen && screen->isMain;
}

}  // namespace tandemview
