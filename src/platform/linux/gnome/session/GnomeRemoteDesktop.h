#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <functional>
#include <memory>
#include <string>

#include "platform/linux/bus/BusConnection.h"
#include "platform/linux/gnome/session/MutterNames.h"
#include "runtime/Queue.h"

namespace tandemview {

/// The way to a GNOME session's pointer, keyboard and clipboard. It is open while our display is there and shows
/// pictures: the compositor ties input to the stream of one. Lives as long as the GnomeSession.
class GnomeRemoteDesktop : public std::enable_shared_from_this<GnomeRemoteDesktop> {
 public:
  /// What follows the sessions that open and end one after the other. All of it is called on the session's queue.
  struct Observer {
    /// Before the session starts: to subscribe to its signals.
    std::function<void(sdbus::IProxy& session)> prepare;
    /// It takes input from now on.
    std::function<void()> began;
    /// It is gone, and with it whatever was held.
    std::function<void()> ended;
  };

  explicit GnomeRemoteDesktop(std::shared_ptr<Queue> queue) : queue_(std::move(queue)) {}

  /// Once, before the first session.
  void observe(Observer observer) { observer_ = std::move(observer); }

  const std::shared_ptr<Queue>& queue() const { return queue_; }

  /// Calls one of the session's methods without waiting for its reply. From any thread; the order is kept. Does nothing
  /// while there is no session.
  template <typename... Arguments>
  void post(const char* method, Arguments... arguments) {
    queue_->async([weak = weak_from_this(), method, arguments...] {
      const auto live = weak.lock();
      if (live && live->session_) live->send(method, arguments...);
    });
  }

  /// The same for methods whose first argument is our display's stream.
  template <typename... Arguments>
  void postOnStream(const char* method, Arguments... arguments) {
    queue_->async([weak = weak_from_this(), method, arguments...] {
      const auto live = weak.lock();
      if (live && live->session_) live->send(method, live->stream_, arguments...);
    });
  }

  // Everything that follows is called on the queue.

  /// For calls that want an answer; null while there is no session. To be followed by update().
  sdbus::IProxy* session() const { return session_; }
  void update() const {
    if (bus_) bus_->update();
  }

  /// For the GnomeSession.
  void prepare(sdbus::IProxy& session) const {
    if (observer_.prepare) observer_.prepare(session);
  }
  void begin(std::shared_ptr<BusConnection> bus, sdbus::IProxy& session, std::string stream) {
    bus_ = std::move(bus);
    session_ = &session;
    stream_ = std::move(stream);
    if (observer_.began) observer_.began();
  }
  void end() {
    if (!session_) return;
    session_ = nullptr;
    bus_ = nullptr;
    if (observer_.ended) observer_.ended();
  }

 private:
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
  }

  const std::shared_ptr<Queue> queue_;
  Observer observer_;
  std::shared_ptr<BusConnection> bus_;
  sdbus::IProxy* session_ = nullptr;
  std::string stream_;
};

}  // namespace tandemview
