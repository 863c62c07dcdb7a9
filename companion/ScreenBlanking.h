#pragma once

struct SDL_Window;

namespace tandemview {

/// Whether the screen with `window` may go dark while nobody touches this computer.
void setScreenMayBlank(SDL_Window* window, bool mayBlank);

}  // namespace tandemview
