#pragma once

#include "platform/linux/places/Arrangement.h"
#include "platform/linux/x11/server/RandrLayout.h"

namespace tandemview {

/// The active outputs as screens, by the outputs' names.
Arrangement arrangementOf(const RandrLayout& layout);

}  // namespace tandemview
