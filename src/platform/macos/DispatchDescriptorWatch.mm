#import "platform/macos/DispatchDescriptorWatch.h"

#include <fcntl.h>
#include <unistd.h>

#include "runtime/Assertion.h"

namespace tandemview {

DispatchDescriptorWatch::~DispatchDescriptorWatch() {
  for (const auto& readiness : {readable_, writable_}) {
    if (!readiness) continue;
    dispatch_source_cancel(readiness->source);
    // A suspended source never gets to the end of its cancellation.
    if (!readiness->work) dispatch_resume(readiness->source);
    readiness->work = nullptr;
  }
}

void DispatchDescriptorWatch::whenReadable(Work work) {
  wait(readable_, DISPATCH_SOURCE_TYPE_READ, std::move(work));
}

void DispatchDescriptorWatch::whenWritable(Work work) {
  wait(writable_, DISPATCH_SOURCE_TYPE_WRITE, std::move(work));
}

void DispatchDescriptorWatch::wait(std::shared_ptr<Readiness>& readiness, dispatch_source_type_t type, Work work) {
  if (!readiness) readiness = makeReadiness(type);
  require(!readiness->work, "one wait at a time");
  readiness->work = std::move(work);
  dispatch_resume(readiness->source);
}

/// The source watches a duplicate, which it keeps until its cancellation is through: the owner may close its own
/// descriptor at once, and the system may give the number to somebody else.
std::shared_ptr<DispatchDescriptorWatch::Readiness> DispatchDescriptorWatch::makeReadiness(
    dispatch_source_type_t type) const {
  const int duplicate = ::fcntl(descriptor_, F_DUPFD_CLOEXEC, 0);
  require(duplicate >= 0, "a descriptor to watch");
  const dispatch_source_t source = dispatch_source_create(type, static_cast<uintptr_t>(duplicate), 0, queue_);
  const auto readiness = std::make_shared<Readiness>(Readiness{source, nullptr});
  const std::weak_ptr<Readiness> weak = readiness;
  dispatch_source_set_event_handler(source, ^{
    const auto ready = weak.lock();
    if (!ready || !ready->work) return;
    dispatch_suspend(ready->source);
    const Work work = std::exchange(ready->work, nullptr);
    @autoreleasepool {
      work();
    }
  });
  dispatch_source_set_cancel_handler(source, ^{
    ::close(duplicate);
  });
  return readiness;
}

}  // namespace tandemview
