#include "platform/linux/picture/FramePacer.h"

namespace tandemview {

void FramePacer::taken(double now) {
  // Half an interval tells the lateness of a timer or of a busy queue from a source that had nothing to show.
  const double lateness = now - due_;
  due_ = (lateness < interval_ / 2 ? due_ : now) + interval_;
}

}  // namespace tandemview
