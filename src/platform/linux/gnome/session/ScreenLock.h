#pragma once

#include <functional>

#include "platform/linux/bus/BusService.h"

namespace tandemview {

/// Whether the screen is locked, as the desktop's screen saver tells it; without one it is not. Made, used and
/// destroyed on the connection's queue.
class ScreenLock {
 public:
  /// `told` is called whenever that may have changed, and soon for what it is now; `woken` when something happens on
  /// the lock screen. That it is being unlocked is told so first, before it has moved away.
  ScreenLock(BusConnection& connection, std::function<void(bool isLocked)> told, std::function<void()> woken);

 private:
  void ask();

  BusConnection& connection_;
  const std::function<void(bool isLocked)> told_;
  BusService service_;
};

}  // namespace tandemview
