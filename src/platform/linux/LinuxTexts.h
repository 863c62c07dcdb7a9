#pragma once

#include "app/PlatformTexts.h"
#include "platform/linux/desktop/DesktopTexts.h"

namespace tandemview {

/// What the program tells the users of a Linux desktop. What matters most comes first: desktops cut the texts of
/// notifications short.
PlatformTexts linuxTexts(const DesktopTexts& desktop);

}  // namespace tandemview
