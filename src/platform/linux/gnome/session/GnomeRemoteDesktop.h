#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/bus/BusConnection.h"
#include "platform/linux/gnome/session/MutterNames.h"
#include "platform/linux/gnome/session/PictureFlow.h"
#include "runtime/Queue.h"

namespace tandemview {

/// The way to a GNOME session's pointer and keyboard. It is open while our display is there and shows pictures: the
/// compositor ties input to the stream of one. What is posted during an interruption waits for its end. Lives as long
/// as the GnomeSession.
class GnomeRemoteDesktop : public std::enable_shared_from_this<GnomeRemoteDesktop> {
 public:
  explicit GnomeRemoteDesktop(std::shared_ptr<Queue> queue) : queue_(std::move(queue)) {}

  const std::shared_ptr<Queue>& queue() const { return queue_; }

  /// Calls `ended` on the session's queue whenever it is gone, and with it whatever was held. Once, before the first.
  void onEnd(std::function<void()> ended) { ended_ = std::move(ended); }

  /// Calls one of the session's methods without waiting for its reply. From any thread; the order is kept. Does nothing
  /// while there is no session.
  template <typename... Arguments>
  void post(const char* method, Arguments... arguments) {
    perform([=](GnomeRemoteDesktop& self) { self.send(method, arguments...); });
  }

  /// The same for a place of the pointer on our display. Dropped while the compositor would drop it, untold.
  void postMotion(double x, double y) {
    perform([=](GnomeRemoteDesktop& self) {
      self.isPlaced_ = self.flow_ == PictureFlow::Coming;
      if (self.isPlaced_) self.send("NotifyPointerMotionAbsolute", self.stream_, x, y);
    });
  }

  /// The same for what happens where the pointer is. Dropped if the place before it was: it would hit something else.
  template <typename... Arguments>
  void postAtPointer(const char* method, Arguments... arguments) {
    perform([=](GnomeRemoteDesktop& self) {
      if (self.isPlaced_) self.send(method, arguments...);
    });
  }

  /// Places on our display are taken while its pictures come. On the queue.
  PictureFlow flow() const { return flow_; }

  // For the GnomeSession, on the queue.

  /// Told before a stream is stopped. What has been posted must have arrived by then: it comes another way.
  void setFlow(PictureFlow flow) {
    if (std::exchange(flow_, flow) == PictureFlow::Coming) awaitArrival();
    if (flow_ == PictureFlow::Interrupted) return;
    for (const Action& action : std::exchange(waiting_, {})) action(*this);
  }
  void begin(std::shared_ptr<BusConnection> bus, sdbus::IProxy& session, std::string stream) {
    bus_ = std::move(bus);
    session_ = &session;
    stream_ = std::move(stream);
  }
  void end() {
    if (!session_) return;
    isPlaced_ = true;
    waiting_.clear();
    session_ = nullptr;
    bus_ = nullptr;
    if (ended_) ended_();
  }

 private:
  using Action = std::function<void(GnomeRemoteDesktop& self)>;

  /// A second of fingers and keys has fewer; a phone that sends more may be up to something.
  static constexpr std::size_t mostWaiting = 2000;

  void perform(Action action) {
    queue_->async([weak = weak_from_this(), action = std::move(action)] {
      const auto live = weak.lock();
      if (!live || !live->session_) return;
      if (live->waiting_.size() == mostWaiting) live->setFlow(PictureFlow::None);
      if (live->flow_ == PictureFlow::Interrupted) return live->waiting_.push_back(action);
      action(*live);
    });
  }

  void awaitArrival() {
    if (!session_ || !std::exchange(isUnderWay_, false)) return;
    try {
      session_->getProperty("SessionId").onInterface(mutter::remoteDesktopSession);
    } catch (const sdbus::Error&) {
      // The session's end follows.
    }
    bus_->update();
  }

  template <typename... Arguments>
  void send(const char* method, const Arguments&... arguments) {
    try {
      session_->callMethod(method)
          .onInterface(mutter::remoteDesktopSession)
          .withArguments(arguments...)
          .dontExpectReply();
    } catch (const sdbus::Error&) {
      // The connection has ended: the session's end follows.
    }
    bus_->update();
    isUnderWay_ = true;
  }

  const std::shared_ptr<Queue> queue_;
  std::function<void()> ended_;
  std::shared_ptr<BusConnection> bus_;
  sdbus::IProxy* session_ = nullptr;
  std::string stream_;
  PictureFlow flow_ = PictureFlow::None;
  std::vector<Action> waiting_;
  bool isUnderWay_ = false;  // something has been posted, and nothing awaited since
  bool isPlaced_ = true;     // the pointer is where it was to be last
};

}  // namespace tandemview
