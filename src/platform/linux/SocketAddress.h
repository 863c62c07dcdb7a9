#pragma once

#include <netinet/in.h>

#include <variant>

namespace tandemview {

/// An IP address and port, with the interface where the address is valid: link-local ones are so on one link alone.
struct SocketAddress {
  std::variant<sockaddr_in6, sockaddr_in> address;
  int interface = 0;  // its index; 0: any

  int family() const { return address.index() == 0 ? AF_INET6 : AF_INET; }
};

}  // namespace tandemview
