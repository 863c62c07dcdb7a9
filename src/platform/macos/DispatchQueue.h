#pragma once

#include <dispatch/dispatch.h>

#include <memory>
#include <set>

#include "runtime/Queue.h"

namespace tandemview {

/// The core's queues on Grand Central Dispatch.
class DispatchQueue final : public Queue {
 public:
  /// The main thread's queue, which the application's event loop serves, menus and alerts included.
  static std::shared_ptr<DispatchQueue> main();

  /// A serial queue of user-interactive quality of service. Its works share the thread's autorelease pool.
  static std::shared_ptr<DispatchQueue> serial(const char* label);

  /// The system's global queue of user-initiated quality of service. It is no serial one: works may overlap, so that
  /// one that waits for the user's password doesn't hold up the others. Nothing can be watched on it.
  static std::shared_ptr<DispatchQueue> background();

  /// A serial queue of that quality of service.
  static std::shared_ptr<DispatchQueue> serialBackground(const char* label);

  void async(Work work) override;
  void after(double seconds, Work work) override;
  Result<std::unique_ptr<DescriptorWatch>> watch(int descriptor) override;

  /// The queue that `queue` stands for; it must be one of this class.
  static dispatch_queue_t underlying(const Queue& queue);

 private:
  explicit DispatchQueue(dispatch_queue_t queue) : queue_(queue) {}

  const dispatch_queue_t queue_;
  const std::shared_ptr<std::set<int>> watched_ = std::make_shared<std::set<int>>();  // descriptors, on the queue
};

}  // namespace tandemview
