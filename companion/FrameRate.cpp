#include "companion/FrameRate.h"

namespace tandemview {

void FrameRate::frameDidArrive(double now) {
  forget(now);
  arrivals_.push_back(now);
}

std::size_t FrameRate::framesPerSecond(double now) {
  forget(now);
  return arrivals_.size();
}

void FrameRate::forget(double now) {
  while (!arrivals_.empty() && arrivals_.front() <= now - 1) arrivals_.pop_front();
}

}  // namespace tandemview
