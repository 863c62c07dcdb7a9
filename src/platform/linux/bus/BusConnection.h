#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "runtime/Descriptor.h"
#include "runtime/Error.h"
#include "runtime/Queue.h"

namespace sdbus {
class IConnection;
class UnixFd;
}  // namespace sdbus

namespace tandemview {

/// A connection to a message bus that a queue serves: the callbacks of its proxies and objects run there. Made, used
/// and destroyed on that queue, after those proxies and objects.
class BusConnection final : public std::enable_shared_from_this<BusConnection> {
 public:
  enum class Bus { Session, System };
  using Opened = Result<std::shared_ptr<sdbus::IConnection>>;

  /// How long a blocking call on a connection may take.
  static constexpr int timeoutSeconds = 2;

  /// Opens a connection to the bus that the environment names and says hello to it. A bus that accepts and then keeps
  /// silent holds the greeting up for longer than anybody should wait, and the library can't be told to give up: a
  /// passing thread waits in our place. `completion` runs on `queue`, if that is still there.
  static void open(Bus bus, const std::shared_ptr<Queue>& queue, std::function<void(Opened)> completion);

  /// The same, waiting for it.
  static Opened open(Bus bus);

  /// `onLost` is called once, on the queue, when the connection has ended. It may let go of the connection.
  static std::shared_ptr<BusConnection> serving(std::shared_ptr<sdbus::IConnection> bus, std::shared_ptr<Queue> queue,
                                                Work onLost);

  sdbus::IConnection& bus() { return *bus_; }

  /// Takes up what was started or received by calls from outside the connection's callbacks; to be called after them.
  void update();

 private:
  BusConnection(std::shared_ptr<sdbus::IConnection> bus, std::shared_ptr<Queue> queue, Work onLost);

  void process();
  void wait();
  void lose();
  /// `step` as work that does nothing once the connection is gone.
  Work whenAlive(std::function<void(BusConnection&)> step);

  const std::shared_ptr<sdbus::IConnection> bus_;
  const std::shared_ptr<Queue> queue_;
  Work onLost_;
  Descriptor watched_;  // a copy: the library closes its own while it is still watched
  std::unique_ptr<DescriptorWatch> watch_;
  bool waitsForReadable_ = false;
  bool waitsForWritable_ = false;
  std::uint64_t timerDeadline_;  // of the earliest timer under way, microseconds of the monotonic clock
};

/// Takes over a descriptor that a message has brought. The library's copies would live on in child processes.
Descriptor takeDescriptor(sdbus::UnixFd& descriptor);

}  // namespace tandemview
