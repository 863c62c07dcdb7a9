#include "companion/DisplayLoss.h"

#ifndef __APPLE__
#include <X11/Xlib.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <utility>
#endif

namespace tandemview {

#ifdef __APPLE__

void onDisplayLoss(std::function<void()>) {}

void leaveDisplayLibrariesAfterLoss() {}

#else

namespace {

std::atomic<bool> isLost = false;

/// Outlives everything: a thread may find out while the program ends.
std::function<void()>& handler() {
  static auto* const instance = new std::function<void()>;
  return *instance;
}

}  // namespace

void onDisplayLoss(std::function<void()> didLose) {
  handler() = std::move(didLose);
  XSetIOErrorHandler([](Display*) -> int {
    if (!isLost.exchange(true)) handler()();
    for (;;) ::pause();
  });
}

void leaveDisplayLibrariesAfterLoss() {
  ::on_exit(
      [](int status, void*) {
        if (!isLost) return;
        std::fflush(nullptr);
        ::_exit(status);
      },
      nullptr);
}

#endif

}  // namespace tandemview
