#pragma once

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include "runtime/Descriptor.h"

namespace tandemview {

/// A TCP port of this host.
class LocalPort {
 public:
  /// One that does not listen refuses connections.
  explicit LocalPort(bool listens = true) : socket_(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    socklen_t length = sizeof(address_);
    ::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address_), length);
    ::getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&address_), &length);
    if (listens) listen();
  }

  int number() const { return ntohs(address_.sin6_port); }
  void listen() const { ::listen(socket_.get(), 8); }
  /// Nothing if nobody comes within 30 seconds.
  Descriptor accept() const {
    pollfd poll{.fd = socket_.get(), .events = POLLIN, .revents = 0};
    return Descriptor(::poll(&poll, 1, 30'000) == 1 ? ::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC) : -1);
  }

 private:
  sockaddr_in6 address_{
      .sin6_family = AF_INET6, .sin6_port = 0, .sin6_flowinfo = 0, .sin6_addr = {}, .sin6_scope_id = 0};
  Descriptor socket_;
};

}  // namespace tandemview
