#include "platform/macos/DispatchQueue.h"
#include "support/QueueDriver.h"

namespace tandemview {

namespace {

class DispatchQueueDriver final : public ThreadedQueueDriver {
 public:
  DispatchQueueDriver() : ThreadedQueueDriver(DispatchQueue::serial("test")) {}

  // Nothing of the test is to run after it.
  ~DispatchQueueDriver() override {
    perform([] {});
  }
};

}  // namespace

std::shared_ptr<QueueDriver> makeDispatchQueueDriver() {
  return makeQueueDriver<DispatchQueueDriver>();
}

}  // namespace tandemview
