#include "app/FrameDistributor.h"

#include <utility>

namespace tandemview {

namespace {

/// Three frames' time at the full rate: a picture that moves has brought a newer one by then.
constexpr double restDelay = 0.05;

}  // namespace

FrameDistributor::FrameDistributor(const std::shared_ptr<Queue>& queue, std::vector<Link> links) : queue_(queue) {
  for (Link& link : links) receivers_.push_back({std::move(link)});
}

void FrameDistributor::distribute(const Data& frame) {
  last_ = frame;
  for (Receiver& receiver : receivers_) receiver.hasLast = receiver.link(frame);
}

void FrameDistributor::linkHasRoom() {
  const auto queue = queue_.lock();
  if (!queue) return;
  queue->after(restDelay, [weak = weak_from_this()] {
    if (const auto distributor = weak.lock()) distributor->deliverLast();
  });
}

void FrameDistributor::showAgain() {
  const auto queue = queue_.lock();
  if (!queue) return;
  queue->async([weak = weak_from_this()] {
    const auto distributor = weak.lock();
    if (!distributor) return;
    for (Receiver& receiver : distributor->receivers_) receiver.hasLast = false;
    distributor->deliverLast();
  });
}

void FrameDistributor::deliverLast() {
  if (last_.empty()) return;
  for (Receiver& receiver : receivers_) {
    if (!receiver.hasLast) receiver.hasLast = receiver.link(last_);
  }
}

}  // namespace tandemview
