#pragma once

#include <functional>

#include "platform/linux/bus/BusService.h"

namespace tandemview {

/// Whether the screen is locked, as the desktop's screen saver tells it; without one it is not. Made, used and
/// destroyed on the connection's queue.
class ScreenLock {
 public:
  /// `told` is called whenever that may have changed, and soon for what it is now.
  ScreenLock(BusConnection& connection, std::function<void(bool isLocked)> told);

 private:
  void ask();

  BusConnection& connection_;
  const std::function<void(bool isLocked)> told_;
  BusService service_;
};

}  // namespace tandemview
