#pragma once

#include "app/PlatformTexts.h"

namespace tandemview {

/// What the program tells the users of a Linux desktop.
PlatformTexts linuxTexts();

}  // namespace tandemview
