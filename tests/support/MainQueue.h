#pragma once

#include <future>

#include "runtime/SerialQueue.h"

namespace tandemview {

/// The program's main queue, on a thread of its own.
class MainQueue {
 public:
  ~MainQueue() { queue_->stopAndJoin(); }

  const std::shared_ptr<SerialQueue>& queue() const { return queue_; }

  /// Runs `work` there and returns when it is done.
  void perform(const Work& work) const {
    std::promise<void> isDone;
    queue_->async([&] {
      work();
      isDone.set_value();
    });
    isDone.get_future().wait();
  }

 private:
  const std::shared_ptr<SerialQueue> queue_ = SerialQueue::withThread("test");
};

}  // namespace tandemview
