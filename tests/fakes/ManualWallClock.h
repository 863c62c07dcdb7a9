#pragma once

#include <utility>

#include "fakes/ManualQueue.h"
#include "runtime/WallClock.h"

namespace tandemview {

/// A time of day that follows a manual queue and can be set.
class ManualWallClock final : public WallClock {
 public:
  explicit ManualWallClock(std::shared_ptr<const ManualQueue> queue) : queue_(std::move(queue)) {}
  double now() const override { return queue_->now() + offset; }

  double offset = 1'700'000'000;

 private:
  std::shared_ptr<const ManualQueue> queue_;
};

}  // namespace tandemview
