#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tandemview {

/// Where a TCP socket listens.
struct SocketAddress {
  sockaddr_storage storage{};
  socklen_t length = 0;

  /// "192.168.1.7:2345", "[fe80::1%eth0]:2345".
  std::string text() const;
  std::uint16_t port() const;
};

/// The address in a text: "ADDRESS:PORT", the address in numbers and in brackets if it is one of IPv6; or "PORT" alone,
/// which is one of 127.0.0.1. Absent for anything else.
std::optional<SocketAddress> socketAddressFromText(std::string_view text);

/// Where a socket is bound; of no length if it is not.
SocketAddress localAddress(int socket);

/// Who is at the other end of a connected one, in numbers and without a port.
std::string peerHost(int socket);

}  // namespace tandemview
