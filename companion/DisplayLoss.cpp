#include "companion/DisplayLoss.h"

#ifndef __APPLE__
#include <X11/Xlib.h>
#include <unistd.h>

#include <utility>
#endif

namespace tandemview {

#ifdef __APPLE__

void onDisplayLoss(std::function<void()>) {}

#else

namespace {

/// Outlives everything: a thread may find out while the program ends.
std::function<void()>& handler() {
  static auto* const instance = new std::function<void()>;
  return *instance;
}

}  // namespace

void onDisplayLoss(std::function<void()> didLose) {
  handler() = std::move(didLose);
  XSetIOErrorHandler([](Display*) -> int {
    if (const auto lost = std::exchange(handler(), nullptr)) lost();
    for (;;) ::pause();
  });
}

#endif

}  // namespace tandemview
