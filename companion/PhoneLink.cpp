#include "companion/PhoneLink.h"

#include <cerrno>
#include <optional>
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

void PhoneLink::read(std::size_t length, Position position, std::function<void(const Data&)> next) {
  stream_->read(length, [weak = weak_from_this(), length, position, next = std::move(next)](
                            const std::optional<Error>& error, const Data& bytes) {
    const auto link = weak.lock();
    if (!link || link->isStopped_) return;
    // Nobody but the cable's daemon stops the stream of a link that goes on.
    if (error && error->code == ECANCELED) return link->end("its device is detached");
    if (error) return link->end(error->localizedDescription());
    if (bytes.size() == length) return next(bytes);
    if (bytes.empty() && position == Position::betweenMessages) return link->end("the host has closed it");
    link->fault("link", "the host has closed the link within a message");
    link->end("the host has closed it");
  });
}

void PhoneLink::receive(std::uint32_t type, const Data& payload) {
  output_.didReceive(type, payload);
  if (!isStopped_) readNext();
}

void PhoneLink::fault(const char* kind, const std::string& text) {
  output_.didSeeFault({kind, text});
}

void PhoneLink::end(const std::string& reason) {
  if (isStopped_) return;
  stop();
  output_.didEnd(reason);
}

}  // namespace tandemview
