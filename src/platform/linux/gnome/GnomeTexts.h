#pragma once

#include "platform/linux/desktop/DesktopTexts.h"

namespace tandemview {

/// What matters most comes first: GNOME cuts the texts of notifications short.
DesktopTexts gnomeTexts();

}  // namespace tandemview
