#pragma once

#include "app/ApplicationSystem.h"

namespace tandemview {

/// Opens the settings program of the session's desktop. False if there is none that is known here.
bool openDesktopSettings(ApplicationSystem& application);

}  // namespace tandemview
