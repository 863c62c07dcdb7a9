#include "runtime/MediaClock.h"

#include <chrono>

namespace tandemview {

double SystemMediaClock::now() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace tandemview
