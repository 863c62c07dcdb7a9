#include "runtime/WallClock.h"

#include <chrono>

namespace tandemview {

double SystemWallClock::now() const {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace tandemview
