#pragma once

#include <functional>

namespace tandemview {

/// Calls `didLose` once when the X server goes away, on whichever thread finds out, instead of ending the program as
/// Xlib does. That thread never goes on: Xlib and SDL know no way back. Elsewhere SDL reports the loss by itself, as
/// the window's end.
void onDisplayLoss(std::function<void()> didLose);

/// To be called before anything else is registered for the program's end: after a loss, the libraries do not clean up
/// there, as they would wait for the thread that stands still.
void leaveDisplayLibrariesAfterLoss();

}  // namespace tandemview
