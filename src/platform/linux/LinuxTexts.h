#pragma once

#include "app/PlatformTexts.h"
#include "platform/linux/X11Session.h"

namespace tandemview {

/// What the program tells the users of a Linux desktop, in a session of this kind. What matters most comes first:
/// desktops cut the texts of notifications short.
PlatformTexts linuxTexts(const X11Session& session);

}  // namespace tandemview
