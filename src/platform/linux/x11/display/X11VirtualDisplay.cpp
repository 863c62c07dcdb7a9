#include "platform/linux/x11/display/X11VirtualDisplay.h"

#include <utility>

namespace tandemview {

std::optional<DisplayID> X11VirtualDisplay::displayID() const {
  const std::lock_guard lock(mutex_);
  return shown_ && screen_->shows(*shown_) ? std::optional<DisplayID>(shown_->output) : std::nullopt;
}

ApplyOutcome X11VirtualDisplay::applySettings(const VirtualDisplaySettings& settings) {
  if (settings.modes.empty()) {
    terminate();
    return ApplyOutcome::Applied;
  }
  const std::lock_guard lock(mutex_);
  const auto shown = screen_->show(settings.modes.front(), shown_);
  if (!shown) return ApplyOutcome::Refused;
  shown_ = shown;
  return ApplyOutcome::Applied;
}

void X11VirtualDisplay::terminate() {
  const std::lock_guard lock(mutex_);
  if (const auto shown = std::exchange(shown_, std::nullopt)) screen_->hide(*shown);
}

}  // namespace tandemview
