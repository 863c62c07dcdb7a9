#include "app/FrameDistributor.h"

#include <utility>

#include "runtime/Weakly.h"

namespace tandemview {

namespace {

/// Three frames' time at the full rate: a picture that moves has brought a newer one by then.
constexpr double restDelay = 0.05;

}  // namespace

FrameDistributor::FrameDistributor(const std::shared_ptr<Queue>& queue, std::vector<Way> ways) : queue_(queue) {
  for (Way& way : ways) receivers_.push_back({.way = std::move(way), .hasLast = std::nullopt});
}

void FrameDistributor::distribute(const Data& frame) {
  last_ = frame;
  for (Receiver& receiver : receivers_) receiver.hasLast = receiver.way.send(frame);
}

void FrameDistributor::linkHasRoom() {
  deliverLastAfter(restDelay);
}

void FrameDistributor::phoneLooks() {
  deliverLastAfter(0);
}

void FrameDistributor::deliverLastAfter(double delay) {
  const auto queue = queue_.lock();
  if (!queue) return;
  queue->after(delay, weakly(this, &FrameDistributor::deliverLast));
}

/// No link gets a frame twice: the phone may rely on timestamps that grow.
void FrameDistributor::deliverLast() {
  if (last_.empty()) return;
  for (Receiver& receiver : receivers_) {
    const auto link = receiver.way.link();
    if (link && link != receiver.hasLast) receiver.hasLast = receiver.way.send(last_);
  }
}

}  // namespace tandemview
