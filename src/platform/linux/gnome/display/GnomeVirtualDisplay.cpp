#include "platform/linux/gnome/display/GnomeVirtualDisplay.h"

#include <utility>

namespace tandemview {

ApplyOutcome GnomeVirtualDisplay::applySettings(const VirtualDisplaySettings& settings) {
  if (settings.modes.empty()) {
    terminate();
    return ApplyOutcome::Applied;
  }
  const VirtualDisplayMode& mode = settings.modes.front();
  isLit_ = true;
  return session_->show({.width = mode.width, .height = mode.height}) ? ApplyOutcome::Applied : ApplyOutcome::Refused;
}

void GnomeVirtualDisplay::terminate() {
  if (std::exchange(isLit_, false)) session_->hide();
}

}  // namespace tandemview
