#pragma once

#include <dispatch/dispatch.h>

#include <memory>

#include "runtime/Queue.h"

namespace tandemview {

/// A descriptor's readiness, from dispatch sources on a serial queue.
class DispatchDescriptorWatch final : public DescriptorWatch {
 public:
  DispatchDescriptorWatch(dispatch_queue_t queue, int descriptor) : queue_(queue), descriptor_(descriptor) {}
  ~DispatchDescriptorWatch() override;

  void whenReadable(Work work) override;
  void whenWritable(Work work) override;

 private:
  /// One kind of readiness: a source that is suspended unless something waits for it.
  struct Readiness {
    dispatch_source_t source;
    Work work;
  };

  void wait(std::shared_ptr<Readiness>& readiness, dispatch_source_type_t type, Work work);
  std::shared_ptr<Readiness> makeReadiness(dispatch_source_type_t type) const;

  const dispatch_queue_t queue_;
  const int descriptor_;
  std::shared_ptr<Readiness> readable_;  // made when first waited for
  std::shared_ptr<Readiness> writable_;
};

}  // namespace tandemview
