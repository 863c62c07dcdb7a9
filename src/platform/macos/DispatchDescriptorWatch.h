#pragma once

#include <dispatch/dispatch.h>

#include <memory>
#include <set>
#include <utility>

#include "runtime/Descriptor.h"
#include "runtime/Queue.h"

namespace tandemview {

/// A descriptor's readiness, from dispatch sources on a serial queue.
class DispatchDescriptorWatch final : public DescriptorWatch {
 public:
  /// An error if there is no descriptor left for a duplicate (see `duplicate_`), or if `watched`, the queue's watched
  /// descriptors, holds this one already.
  static Result<std::unique_ptr<DescriptorWatch>> of(int descriptor, dispatch_queue_t queue,
                                                     const std::shared_ptr<std::set<int>>& watched);
  ~DispatchDescriptorWatch() override;

  void whenReadable(Work work) override;
  void whenWritable(Work work) override;

 private:
  /// One kind of readiness: a source that is suspended unless something waits for it.
  struct Readiness {
    dispatch_source_t source;
    Work work;
  };

  DispatchDescriptorWatch(int descriptor, dispatch_queue_t queue, std::shared_ptr<std::set<int>> watched,
                          std::shared_ptr<const Descriptor> duplicate)
      : descriptor_(descriptor), queue_(queue), watched_(std::move(watched)), duplicate_(std::move(duplicate)) {}
  void wait(std::shared_ptr<Readiness>& readiness, dispatch_source_type_t type, Work work);
  std::shared_ptr<Readiness> makeReadiness(dispatch_source_type_t type) const;

  const int descriptor_;
  const dispatch_queue_t queue_;
  const std::shared_ptr<std::set<int>> watched_;
  /// What the sources watch, and keep until their cancellation is through: the owner may close its own descriptor at
  /// once, and the system may give the number to somebody else.
  const std::shared_ptr<const Descriptor> duplicate_;
  std::shared_ptr<Readiness> readable_;  // made when first waited for
  std::shared_ptr<Readiness> writable_;
};

}  // namespace tandemview
