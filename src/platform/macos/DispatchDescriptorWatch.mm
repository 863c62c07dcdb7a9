#import "platform/macos/DispatchDescriptorWatch.h"

#include <fcntl.h>
#include <cerrno>
#include <utility>

#include "runtime/Assertion.h"

namespace tandemview {

Result<std::unique_ptr<DescriptorWatch>> DispatchDescriptorWatch::of(int descriptor, dispatch_queue_t queue,
                                                                     const std::shared_ptr<std::set<int>>& watched) {
  if (watched->contains(descriptor)) return tl::unexpected(posixError(EEXIST));
  auto duplicate = std::make_shared<Descriptor>(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
  if (!*duplicate) return tl::unexpected(posixError(errno));
  watched->insert(descriptor);
  return std::unique_ptr<DescriptorWatch>(
      new DispatchDescriptorWatch(descriptor, queue, watched, std::move(duplicate)));
}

DispatchDescriptorWatch::~DispatchDescriptorWatch() {
  watched_->erase(descriptor_);
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

std::shared_ptr<DispatchDescriptorWatch::Readiness> DispatchDescriptorWatch::makeReadiness(
    dispatch_source_type_t type) const {
  const dispatch_source_t source = dispatch_source_create(type, static_cast<uintptr_t>(duplicate_->get()), 0, queue_);
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
  __block std::shared_ptr<const Descriptor> kept = duplicate_;
  dispatch_source_set_cancel_handler(source, ^{
    kept = nullptr;
  });
  return readiness;
}

}  // namespace tandemview
