#pragma once

#include <sdbus-c++/TypeTraits.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/bus/BusConnection.h"
#include "platform/linux/wifi/AvahiObject.h"
#include "runtime/Error.h"
#include "runtime/Queue.h"

namespace sdbus {
class IProxy;
class MethodReply;
}  // namespace sdbus

namespace tandemview {

/// Somebody who needs the Avahi daemon. Called on its queue.
class AvahiDaemonUser {
 public:
  virtual ~AvahiDaemonUser() = default;
  virtual void daemonDidStart() = 0;
  /// Everything that the daemon kept for the user is gone.
  virtual void daemonDidStop() = 0;
};

/// The Avahi daemon by the system bus, waited for whenever it, or even the bus, is absent. Lives on one queue; made
/// anywhere, destroyed there or after the queue has ended.
///
/// No call waits for its answer, so that a daemon that hangs holds nobody up; the first one that comes to nothing ends
/// the connection, and a new one is made a little later. Only signals of the daemon itself are taken: the bus hands out
/// what any local user sends to our name.
class AvahiDaemon final : public std::enable_shared_from_this<AvahiDaemon> {
 public:
  explicit AvahiDaemon(std::shared_ptr<Queue> queue);
  ~AvahiDaemon();
  AvahiDaemon(const AvahiDaemon&) = delete;
  AvahiDaemon& operator=(const AvahiDaemon&) = delete;

  const std::shared_ptr<Queue>& queue() const { return queue_; }

  /// Tells the user of every start and stop from now on; of a start at once if the daemon is running.
  void add(const std::shared_ptr<AvahiDaemonUser>& user);

  bool isRunning() const { return isRunning_; }

  /// Adds the arguments to a call.
  using Arguments = std::function<void(sdbus::Message& call)>;

  /// Asks the daemon, which must be running, for an object: calls the server's `method`.
  std::shared_ptr<AvahiObject> make(const std::string& interface, const std::string& method, const Arguments& arguments,
                                    AvahiObject::Output output);

  /// Calls a method of an object that has appeared. `completion` gets the daemon's refusal, if it refuses.
  void call(const AvahiObject& object, const std::string& method, const Arguments& arguments,
            std::function<void(const std::optional<Error>&)> completion);

  /// For AvahiObject.
  void free(const std::string& path, const std::string& interface);

 private:
  struct Method {
    std::string destination;
    std::string path;
    std::string interface;
    std::string name;
  };
  using Completion = std::function<void(const std::optional<Error>&, sdbus::MethodReply&)>;

  void connect();
  void connected(BusConnection::Opened opened);
  void reconnect();
  void disconnect();
  void call(const Method& method, const Arguments& arguments, Completion completion);
  void tell(const Method& method, const Arguments& arguments);
  void findOwner();
  void setOwner(const std::string& owner);
  void signalReported(sdbus::Message& signal);
  void setState(std::int32_t state);
  void start();
  void stop();
  void reportAbsence();
  std::vector<std::shared_ptr<AvahiDaemonUser>> users();

  const std::shared_ptr<Queue> queue_;
  std::shared_ptr<BusConnection> connection_;
  sdbus::Slot ownerWatch_;
  std::map<std::uint64_t, std::unique_ptr<sdbus::IProxy>> calls_;  // those under way
  std::uint64_t callCount_ = 0;
  std::string owner_;  // the daemon's own name on the bus, which no other can have
  std::map<std::string, std::weak_ptr<AvahiObject>> objects_;
  bool isRunning_ = false;
  bool isConnecting_ = false;  // or waits to
  bool isFailing_ = false;     // the connection is about to be given up
  bool isAbsent_ = false;      // and that has been said
  std::vector<std::weak_ptr<AvahiDaemonUser>> users_;
};

}  // namespace tandemview
