#pragma once

#include <functional>

struct SDL_Window;

namespace tandemview {

/// Calls `didLose` once when the X server of the window goes away, on the thread that serves the window, instead of
/// ending the program as Xlib does. Elsewhere SDL reports the loss by itself, as the window's end.
void onDisplayLoss(SDL_Window* window, std::function<void()> didLose);

}  // namespace tandemview
