#include "usb/PTAddress.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>

#include <array>
#include <cstring>

#include "runtime/Assertion.h"

namespace tandemview {

PTAddress::PTAddress(const sockaddr* address) {
  require(address != nullptr, "addr");
  const std::size_t length = address->sa_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
  std::memcpy(&address_.emplace(), address, length);
}

std::optional<std::string> PTAddress::name() const {
  if (!address_) return std::nullopt;
  const void* host = address_->ss_family == AF_INET6
                         ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in6&>(*address_).sin6_addr)
                         : &reinterpret_cast<const sockaddr_in&>(*address_).sin_addr;
  const int family = address_->ss_family == AF_INET6 ? AF_INET6 : AF_INET;
  std::array<char, INET6_ADDRSTRLEN> text;
  if (!::inet_ntop(family, host, text.data(), text.size())) return std::nullopt;
  return text.data();
}

std::uint16_t PTAddress::port() const {
  if (!address_) return 0;
  const bool isIPv6 = address_->ss_family == AF_INET6;
  return ntohs(isIPv6 ? reinterpret_cast<const sockaddr_in6&>(*address_).sin6_port
                      : reinterpret_cast<const sockaddr_in&>(*address_).sin_port);
}

std::string PTAddress::description() const {
  const std::optional<std::string> host = name();
  return host ? fmt::format("{}:{}", *host, port()) : "(?)";
}

}  // namespace tandemview
