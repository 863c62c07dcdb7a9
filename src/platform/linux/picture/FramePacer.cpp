#include "platform/linux/picture/FramePacer.h"

#include <algorithm>

namespace tandemview {

namespace {

/// How much later than expected a steady source may draw, in gaps.
constexpr double tolerance = 1.25;

/// In intervals: a source with longer gaps doesn't draw at the full rate, and needs to wait for nothing.
constexpr double longestSteadyGap = 1.5;

}  // namespace

double FramePacer::patience() const {
  return gap_ <= longestSteadyGap * interval_ ? gap_ * tolerance : 0;
}

void FramePacer::taken(double now) {
  gap_ = now - last_;
  last_ = now;
  due_ = std::max(due_, now) + interval_;
}

}  // namespace tandemview
