#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/linux/bus/BusService.h"
#include "runtime/Error.h"

namespace sdbus {
class IProxy;
}

namespace tandemview {

/// The compositor's pair of sessions that makes one virtual monitor: a screen cast, and a remote desktop that takes its
/// input. The monitor appears when its stream is received, and goes with this. Made, used and destroyed on the
/// connection's queue; not to be destroyed from within an event.
class MutterCast {
 public:
  struct Events {
    std::function<void(std::uint32_t node)> streamAdded;  // PipeWire's number of the stream's source
    std::function<void()> closed;                         // the desktop has ended it
  };

  /// Whether the desktop lets such sessions be made; it does not while the screen is locked. Absent if it doesn't say.
  static std::optional<bool> isAllowed();

  static Result<std::unique_ptr<MutterCast>> start(BusConnection& connection, Events events);

  /// Ends the sessions, and waits for that.
  ~MutterCast();

  sdbus::IProxy& remoteDesktop() { return *session_; }

  /// The stream's object, which absolute places of the pointer name.
  const std::string& stream() const { return streamPath_; }

 private:
  MutterCast(BusConnection& connection, Events events) : connection_(connection), events_(std::move(events)) {}

  void begin();

  BusConnection& connection_;
  const Events events_;
  std::string sessionPath_;
  std::string streamPath_;
  std::unique_ptr<sdbus::IProxy> session_;
  std::unique_ptr<BusService> sessionSignals_;
  std::unique_ptr<BusService> streamSignals_;
};

}  // namespace tandemview
