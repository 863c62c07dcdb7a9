#pragma once

#include <netinet/in.h>

#include <variant>

namespace tandemview {

/// An IP address and port, with the index of the interface by which it is to be reached.
struct SocketAddress {
  std::variant<sockaddr_in6, sockaddr_in> address;
  int interface = 0;

  int family() const { return address.index() == 0 ? AF_INET6 : AF_INET; }
};

}  // namespace tandemview
