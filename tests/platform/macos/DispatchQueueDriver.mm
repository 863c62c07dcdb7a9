#include "platform/macos/DispatchQueue.h"
#include "support/QueueDriver.h"

namespace tandemview {

std::shared_ptr<QueueDriver> makeDispatchQueueDriver() {
  const auto queue = DispatchQueue::serial("test");
  const auto end = [queue] {  // nothing of the test is to run after it
    std::promise<void> isDone;
    queue->async([&] { isDone.set_value(); });
    isDone.get_future().wait();
  };
  return std::make_shared<ThreadedQueueDriver>(queue, end);
}

}  // namespace tandemview
