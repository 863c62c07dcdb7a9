#include "companion/PhoneLink.h"

#include <utility>

namespace tandemview {

PhoneLink::PhoneLink(std::shared_ptr<Stream> stream, std::shared_ptr<Queue> queue, const MediaClock& clock)
    : stream_(std::move(stream)), queue_(std::move(queue)), clock_(clock) {}

void PhoneLink::start(Output output) {
  output_ = std::move(output);
  readNext();
}

void PhoneLink::stop() {
  isStopped_ = true;
  stream_->stop();
}

void PhoneLink::whenNotStalled(Work work) {
  const double pause = stalledUntil_ - clock_.now();
  if (pause <= 0) return work();
  queue_->after(pause, [weak = weak_from_this(), work = std::move(work)] {
    const auto link = weak.lock();
    if (link && !link->isStopped_) work();
  });
}

void PhoneLink::receive(std::uint32_t type, const Data& payload) {
  if (!isStopped_) output_.didReceive(type, payload);
}

void PhoneLink::fault(const std::string& text) {
  if (!isStopped_) output_.didSeeFault(text);
}

void PhoneLink::end(const std::string& reason) {
  if (isStopped_) return;
  stop();
  output_.didEnd(reason);
}

}  // namespace tandemview
