#import "platform/macos/DispatchQueue.h"

#include "platform/macos/DispatchDescriptorWatch.h"

namespace tandemview {

namespace {

/// A work on its way to the queue; run and let go of there.
void runAndDelete(void* context) {
  const std::unique_ptr<Work> work(static_cast<Work*>(context));
  @autoreleasepool {
    (*work)();
  }
}

}  // namespace

std::shared_ptr<DispatchQueue> DispatchQueue::main() {
  return std::shared_ptr<DispatchQueue>(new DispatchQueue(dispatch_get_main_queue()));
}

std::shared_ptr<DispatchQueue> DispatchQueue::serial(const char* label) {
  const dispatch_queue_attr_t interactive =
      dispatch_queue_attr_make_with_qos_class(DISPATCH_QUEUE_SERIAL, QOS_CLASS_USER_INTERACTIVE, 0);
  const dispatch_queue_attr_t attributes =
      dispatch_queue_attr_make_with_autorelease_frequency(interactive, DISPATCH_AUTORELEASE_FREQUENCY_INHERIT);
  return std::shared_ptr<DispatchQueue>(new DispatchQueue(dispatch_queue_create(label, attributes)));
}

std::shared_ptr<DispatchQueue> DispatchQueue::background() {
  return std::shared_ptr<DispatchQueue>(
      new DispatchQueue(dispatch_get_global_queue(QOS_CLASS_USER_INITIATED, /*flags=*/0)));
}

std::shared_ptr<DispatchQueue> DispatchQueue::serialBackground(const char* label) {
  return std::shared_ptr<DispatchQueue>(
      new DispatchQueue(dispatch_queue_create_with_target(label, DISPATCH_QUEUE_SERIAL, background()->queue_)));
}

void DispatchQueue::async(Work work) {
  dispatch_async_f(queue_, new Work(std::move(work)), runAndDelete);
}

void DispatchQueue::after(double seconds, Work work) {
  const auto nanoseconds = static_cast<std::int64_t>(seconds * static_cast<double>(NSEC_PER_SEC));
  dispatch_after_f(dispatch_time(DISPATCH_TIME_NOW, nanoseconds), queue_, new Work(std::move(work)), runAndDelete);
}

Result<std::unique_ptr<DescriptorWatch>> DispatchQueue::watch(int descriptor) {
  return DispatchDescriptorWatch::of(descriptor, queue_, watched_);
}

dispatch_queue_t DispatchQueue::underlying(const Queue& queue) {
  return static_cast<const DispatchQueue&>(queue).queue_;
}

}  // namespace tandemview
