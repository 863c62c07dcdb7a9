#pragma once

#include <utility>

#include "runtime/Queue.h"

namespace tandemview {

/// A queue whose delays are a thousand times shorter.
class HastyQueue final : public Queue {
 public:
  explicit HastyQueue(std::shared_ptr<Queue> queue) : queue_(std::move(queue)) {}
  void async(Work work) override { queue_->async(std::move(work)); }
  void after(double seconds, Work work) override { queue_->after(seconds / 1000, std::move(work)); }
  Result<std::unique_ptr<DescriptorWatch>> watch(int descriptor) override { return queue_->watch(descriptor); }

 private:
  const std::shared_ptr<Queue> queue_;
};

}  // namespace tandemview
