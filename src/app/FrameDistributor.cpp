#include "app/FrameDistributor.h"

#include <utility>

namespace tandemview {

namespace {

/// Three frames' time at the full rate: without a new one by then, the picture rests.
constexpr double restDelay = 0.05;

}  // namespace

FrameDistributor::FrameDistributor(const std::shared_ptr<Queue>& queue, std::vector<Link> links) : queue_(queue) {
  for (Link& link : links) receivers_.push_back({std::move(link)});
}

void FrameDistributor::distribute(const Data& frame) {
  last_ = frame;
  ++count_;
  for (Receiver& receiver : receivers_) receiver.hasLast = receiver.link(frame);
}

void FrameDistributor::linkHasRoom() {
  onQueue([](FrameDistributor& self, Queue& queue) {
    queue.after(restDelay, [weak = self.weak_from_this(), count = self.count_] {
      const auto distributor = weak.lock();
      if (distributor && distributor->count_ == count) distributor->deliverLast();
    });
  });
}

void FrameDistributor::showAgain() {
  onQueue([](FrameDistributor& self, Queue&) {
    for (Receiver& receiver : self.receivers_) receiver.hasLast = false;
    self.deliverLast();
  });
}

void FrameDistributor::deliverLast() {
  if (count_ == 0) return;
  for (Receiver& receiver : receivers_) {
    if (!receiver.hasLast) receiver.hasLast = receiver.link(last_);
  }
}

void FrameDistributor::onQueue(void (*work)(FrameDistributor&, Queue&)) {
  const auto queue = queue_.lock();
  if (!queue) return;
  queue->async([weak = weak_from_this(), work] {
    const auto distributor = weak.lock();
    const auto current = distributor ? distributor->queue_.lock() : nullptr;
    if (current) work(*distributor, *current);
  });
}

}  // namespace tandemview
