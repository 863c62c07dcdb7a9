#include "platform/linux/gnome/session/GnomeSession.h"

namespace tandemview {

std::shared_ptr<GnomeSession> GnomeSession::open() {
  return std::shared_ptr<GnomeSession>(new GnomeSession());
}

GnomeSession::GnomeSession()
    : queue_(SerialQueue::withThread("gnome")), remoteDesktop_(std::make_shared<GnomeRemoteDesktop>(queue_)) {}

GnomeSession::~GnomeSession() {
  queue_->stopAndJoin();
}

GnomeLayout GnomeSession::layout() const {
  const std::lock_guard lock(mutex_);
  return layout_;
}

std::optional<DisplayID> GnomeSession::display() const {
  const std::lock_guard lock(mutex_);
  return display_;
}

}  // namespace tandemview
