#include "companion/SocketAddress.h"

#include <fmt/format.h>
#include <netdb.h>
#include <netinet/in.h>

#include <array>
#include <cstring>

namespace tandemview {

std::string SocketAddress::text() const {
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> port{};
  const auto* address = reinterpret_cast<const sockaddr*>(&storage);
  if (::getnameinfo(address, length, host.data(), host.size(), port.data(), port.size(),
                    NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return "";
  }
  if (storage.ss_family == AF_INET6) return fmt::format("[{}]:{}", host.data(), port.data());
  return fmt::format("{}:{}", host.data(), port.data());
}

std::uint16_t SocketAddress::port() const {
  // At the same place in both kinds of address.
  return ntohs(reinterpret_cast<const sockaddr_in*>(&storage)->sin_port);
}

std::optional<SocketAddress> socketAddressFromText(std::string_view text) {
  const std::size_t colon = text.rfind(':');
  std::string host(colon == std::string_view::npos ? "127.0.0.1" : text.substr(0, colon));
  const std::string port(text.substr(colon == std::string_view::npos ? 0 : colon + 1));
  const bool isBracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
  if (isBracketed) host = host.substr(1, host.size() - 2);
  if (host.find(':') != std::string::npos && !isBracketed) return std::nullopt;
  // A service's name or a number too large is no port.
  if (port.empty() || port.size() > 5 || port.find_first_not_of("0123456789") != std::string::npos ||
      std::stoul(port) > 65'535) {
    return std::nullopt;
  }

  addrinfo wanted{};
  wanted.ai_socktype = SOCK_STREAM;
  wanted.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  if (::getaddrinfo(host.c_str(), port.c_str(), &wanted, &found) != 0) return std::nullopt;
  SocketAddress address;
  address.length = found->ai_addrlen;
  std::memcpy(&address.storage, found->ai_addr, found->ai_addrlen);
  ::freeaddrinfo(found);
  return address;
}

SocketAddress localAddress(int socket) {
  SocketAddress address;
  socklen_t length = sizeof(address.storage);
  if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address.storage), &length) == 0) address.length = length;
  return address;
}

std::string peerHost(int socket) {
  sockaddr_storage peer{};
  socklen_t length = sizeof(peer);
  std::array<char, NI_MAXHOST> host{};
  auto* const address = reinterpret_cast<sockaddr*>(&peer);
  if (::getpeername(socket, address, &length) != 0) return "";
  if (::getnameinfo(address, length, host.data(), host.size(), nullptr, 0, NI_NUMERICHOST) != 0) return "";
  const std::string_view text = host.data();
  constexpr std::string_view mapped = "::ffff:";  // of a socket for both kinds of address
  return std::string(text.starts_with(mapped) ? text.substr(mapped.size()) : text);
}

}  // namespace tandemview
