#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "companion/SocketAddress.h"
#include "runtime/Descriptor.h"
#include "runtime/Error.h"
#include "runtime/Queue.h"

namespace tandemview {

/// A listening socket that hands over each connection, on the queue. Listens until it is destroyed.
class Listener : public std::enable_shared_from_this<Listener> {
 public:
  /// `connection` is connected and non-blocking.
  using Accept = std::function<void(Descriptor connection)>;

  /// Takes over a listening, non-blocking socket.
  static Result<std::shared_ptr<Listener>> on(Descriptor socket, std::shared_ptr<Queue> queue, Accept accept);

  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

 private:
  Listener(Descriptor socket, std::shared_ptr<Queue> queue, std::unique_ptr<DescriptorWatch> watch, Accept accept);

  void waitForConnections();
  void acceptPending();

  Descriptor socket_;
  std::shared_ptr<Queue> queue_;
  std::unique_ptr<DescriptorWatch> watch_;
  Accept accept_;
};

/// A TCP socket that listens at `address`, non-blocking. Port 0 takes a free one; see localAddress().
Result<Descriptor> listeningSocketAt(const SocketAddress& address);

/// A TCP socket that listens on a free port of every address, non-blocking.
Result<Descriptor> listeningSocket();

}  // namespace tandemview
