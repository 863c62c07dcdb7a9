#pragma once

#include <avahi-client/client.h>

#include <memory>
#include <vector>

#include "platform/linux/AvahiQueuePoll.h"
#include "runtime/Error.h"
#include "runtime/Queue.h"

namespace tandemview {

/// Somebody who needs the Avahi daemon. Called on its queue.
class AvahiDaemonUser {
 public:
  virtual ~AvahiDaemonUser() = default;
  virtual void daemonDidStart(AvahiClient& client) = 0;
  /// Everything that was made with the client must be freed now.
  virtual void daemonDidStop() = 0;
};

/// The connection to the Avahi daemon on the system bus, kept up while anybody needs it: a daemon that is absent, and
/// even a bus, are waited for. Lives on one queue; made anywhere, destroyed there or after the queue has ended.
///
/// The library's calls wait for the daemon's answer: a daemon that hangs holds the queue up, for 25 seconds at most a
/// call.
class AvahiDaemon final : public std::enable_shared_from_this<AvahiDaemon> {
 public:
  explicit AvahiDaemon(std::shared_ptr<Queue> queue);
  ~AvahiDaemon();
  AvahiDaemon(const AvahiDaemon&) = delete;
  AvahiDaemon& operator=(const AvahiDaemon&) = delete;

  const std::shared_ptr<Queue>& queue() const { return queue_; }

  /// Tells the user of every start and stop from now on; of a start at once if the daemon is running.
  void add(const std::shared_ptr<AvahiDaemonUser>& user);

  /// Absent while there is no running daemon.
  AvahiClient* client() const { return isRunning_ ? client_ : nullptr; }

  /// Why the last call with the client has failed.
  Error lastError() const;

  /// Connects anew: the client has shown itself to be broken.
  void reconnect();

 private:
  static void stateChanged(AvahiClient* client, AvahiClientState state, void* daemon);
  void connect();
  void disconnect();
  void start(AvahiClient& client);
  void stop();
  void reportAbsence();
  std::vector<std::shared_ptr<AvahiDaemonUser>> users();

  const std::shared_ptr<Queue> queue_;
  const AvahiQueuePoll poll_;
  AvahiClient* client_ = nullptr;
  bool isRunning_ = false;
  bool isConnecting_ = false;  // now, or after the delay
  bool isAbsent_ = false;      // and that has been said
  std::vector<std::weak_ptr<AvahiDaemonUser>> users_;
};

/// An error of the library.
Error avahiError(int code);

}  // namespace tandemview
