#include "companion/ScreenBlanking.h"

#include <SDL.h>

#ifndef __APPLE__
#include <SDL_syswm.h>
#include <X11/extensions/scrnsaver.h>
#endif

namespace tandemview {

namespace {

#ifdef __APPLE__

void endSuspension(SDL_Window*) {}

#else

/// Where nobody on the session's bus keeps screens awake, SDL 2 asks the X server to, and never takes that back. From a
/// client that has not asked, this changes nothing.
void endSuspension(SDL_Window* window) {
  SDL_SysWMinfo info;
  SDL_VERSION(&info.version);
  if (!SDL_GetWindowWMInfo(window, &info) || info.subsystem != SDL_SYSWM_X11) return;
  XScreenSaverSuspend(info.info.x11.display, False);
  XFlush(info.info.x11.display);
}

#endif

}  // namespace

void setScreenMayBlank(SDL_Window* window, bool mayBlank) {
  if (mayBlank == (SDL_IsScreenSaverEnabled() == SDL_TRUE)) return;
  if (!mayBlank) return SDL_DisableScreenSaver();
  SDL_EnableScreenSaver();
  endSuspension(window);
}

}  // namespace tandemview
