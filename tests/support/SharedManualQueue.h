#pragma once

#include <mutex>
#include <utility>
#include <vector>

#include "fakes/ManualQueue.h"

namespace tandemview {

/// A manual queue that other threads may give work to. The test's thread drives it.
class SharedManualQueue final : public Queue {
 public:
  static std::shared_ptr<SharedManualQueue> make() { return std::make_shared<SharedManualQueue>(); }

  void async(Work work) override {
    const std::lock_guard lock(mutex_);
    arrived_.push_back(std::move(work));
  }
  void after(double seconds, Work work) override { queue_->after(seconds, std::move(work)); }
  Result<std::unique_ptr<DescriptorWatch>> watch(int descriptor) override { return queue_->watch(descriptor); }

  /// Drains until the condition holds, for at most 5 real seconds. Virtual time stands still.
  bool drainUntil(const std::function<bool()>& condition) {
    return queue_->drainUntil([&] {
      takeArrived();
      return condition();
    });
  }

  /// The same while virtual time runs, ten seconds with each look at the condition.
  bool advanceUntil(const std::function<bool()>& condition) {
    return drainUntil([&] {
      queue_->advance(10);
      return condition();
    });
  }

  /// Lets virtual time pass, as ManualQueue does.
  void advance(double seconds) {
    takeArrived();
    queue_->advance(seconds);
  }

  /// How many works have been queued.
  int works() const { return works_; }

 private:
  void takeArrived() {
    std::vector<Work> arrived;
    {
      const std::lock_guard lock(mutex_);
      arrived = std::exchange(arrived_, {});
    }
    works_ += static_cast<int>(arrived.size());
    for (Work& work : arrived) queue_->async(std::move(work));
    queue_->drain();
  }

  const std::shared_ptr<ManualQueue> queue_ = ManualQueue::make();
  std::mutex mutex_;
  std::vector<Work> arrived_;
  int works_ = 0;
};

}  // namespace tandemview
