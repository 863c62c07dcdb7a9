#pragma once

#include <memory>

#include "runtime/Queue.h"

namespace tandemview {

/// A repeating timer on a queue. It ends when its last owner lets go of it, also within a tick.
class Timer : public std::enable_shared_from_this<Timer> {
 public:
  /// Calls `tick` on `queue` every `interval` seconds, the first time one interval from now.
  static std::shared_ptr<Timer> repeating(std::shared_ptr<Queue> queue, double interval, Work tick);

 private:
  Timer(std::shared_ptr<Queue> queue, double interval, Work tick);
  void schedule();

  std::shared_ptr<Queue> queue_;
  double interval_;
  Work tick_;
};

}  // namespace tandemview
