#pragma once

#include <avahi-common/watch.h>

#include <memory>

#include "runtime/Queue.h"

namespace tandemview {

/// Lets the Avahi library wait for descriptors and times on a queue. Used on that queue alone; it outlives all that
/// waits by it.
class AvahiQueuePoll {
 public:
  explicit AvahiQueuePoll(std::shared_ptr<Queue> queue);
  AvahiQueuePoll(const AvahiQueuePoll&) = delete;
  AvahiQueuePoll& operator=(const AvahiQueuePoll&) = delete;

  const AvahiPoll* get() const { return &poll_; }

 private:
  const std::shared_ptr<Queue> queue_;
  AvahiPoll poll_;
};

}  // namespace tandemview
