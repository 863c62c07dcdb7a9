#pragma once

#include "platform/linux/x11/server/X11Connection.h"

namespace tandemview {

enum class ScreenAccess { Granted, Refused, Unknown };

/// Whether the server lets this client read its screen. It refuses that to clients that it doesn't trust, such as those
/// of "ssh -X", or as a security module says. Unknown: it does not answer.
ScreenAccess screenAccess(const X11Connection& connection);

}  // namespace tandemview
