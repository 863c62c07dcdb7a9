#pragma once

#include <cstddef>
#include <deque>

namespace tandemview {

/// How many frames came within the last second.
class FrameRate {
 public:
  void frameDidArrive(double now);
  std::size_t framesPerSecond(double now);

 private:
  void forget(double now);

  std::deque<double> arrivals_;
};

}  // namespace tandemview
