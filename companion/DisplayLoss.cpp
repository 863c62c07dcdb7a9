#include "companion/DisplayLoss.h"

#include <SDL_syswm.h>

#include <utility>

#ifdef SDL_VIDEO_DRIVER_X11
#include <X11/Xlib.h>
#endif

namespace tandemview {

#ifdef SDL_VIDEO_DRIVER_X11

namespace {

/// For as long as the program runs: Xlib calls the handler whenever it finds the connection broken.
std::function<void()>& handler() {
  static std::function<void()> instance;
  return instance;
}

}  // namespace

void onDisplayLoss(SDL_Window* window, std::function<void()> didLose) {
  SDL_SysWMinfo info;
  SDL_VERSION(&info.version);
  if (SDL_GetWindowWMInfo(window, &info) == SDL_FALSE || info.subsystem != SDL_SYSWM_X11) return;
  handler() = std::move(didLose);
  XSetIOErrorExitHandler(
      info.info.x11.display,
      [](Display*, void*) {
        if (const auto lost = std::exchange(handler(), nullptr)) lost();
      },
      nullptr);
}

#else

void onDisplayLoss(SDL_Window*, std::function<void()>) {}

#endif

}  // namespace tandemview
