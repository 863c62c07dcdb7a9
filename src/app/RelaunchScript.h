#pragma once

#include "app/ApplicationSystem.h"

namespace tandemview {

/// Starts a script that outlives this process and then starts the application anew, with the same arguments. The
/// script's process.
Result<ProcessIdentifier> startRelaunchScript(ApplicationSystem& application);

}  // namespace tandemview
