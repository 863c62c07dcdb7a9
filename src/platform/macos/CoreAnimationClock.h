#pragma once

#import <QuartzCore/QuartzCore.h>

#include "runtime/MediaClock.h"

namespace tandemview {

/// The clock that macOS's media run by. It stands still while the Mac sleeps.
class CoreAnimationClock final : public MediaClock {
 public:
  double now() const override { return CACurrentMediaTime(); }
};

}  // namespace tandemview
