#include "capture/RestWatch.h"

#include "runtime/Weakly.h"

namespace tandemview {

namespace {

/// Seconds. Longer than the slowest video takes for a picture, and shorter than the pause between two keys: what is
/// typed is looked at.
constexpr double shortestRest = 0.1;

}  // namespace

void RestWatch::pictureCame() {
  ++pictures_;
  if (!isLooking_) lookLater();
}

/// A rest of one to two times the shortest is noticed, at the price of one timer in that time.
void RestWatch::lookLater() {
  const auto queue = queue_.lock();
  if (!queue) return;
  isLooking_ = true;
  queue->after(shortestRest, weakly(this, [before = pictures_](RestWatch& watch) {
                 watch.isLooking_ = false;
                 if (watch.pictures_ != before) return watch.lookLater();
                 watch.onRest_();
               }));
}

}  // namespace tandemview
