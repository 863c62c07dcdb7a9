#pragma once

#include "platform/linux/desktop/DesktopTexts.h"
#include "platform/linux/x11/X11Session.h"

namespace tandemview {

/// What matters most comes first: desktops cut the texts of notifications short.
DesktopTexts x11Texts(const X11Session& session);

}  // namespace tandemview
