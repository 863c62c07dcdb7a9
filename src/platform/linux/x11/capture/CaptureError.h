#pragma once

#include <optional>
#include <string>

#include "platform/linux/x11/server/X11Connection.h"
#include "runtime/Error.h"

namespace tandemview {

/// Why a screen can't be captured, in words for the log.
Error captureError(std::string description);

/// That the user has declined, if the server lets this client read nothing of its screen. To be asked before anything
/// else: a server hides its extensions from clients that it doesn't trust.
std::optional<Error> captureRefusal(const X11Connection& connection);

}  // namespace tandemview
