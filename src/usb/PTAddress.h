#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <optional>
#include <string>

namespace tandemview {

/// A peer's socket address, IPv4 or IPv6.
class PTAddress {
 public:
  /// An address that holds none.
  PTAddress() = default;
  /// Copies the address; its length follows from its family.
  explicit PTAddress(const sockaddr* address);

  /// Numeric text of the host; absent when no address is held.
  std::optional<std::string> name() const;
  /// In host order; 0 when no address is held.
  std::uint16_t port() const;
  /// "name:port", or "(?)" without an address.
  std::string description() const;

 private:
  std::optional<sockaddr_storage> address_;
};

}  // namespace tandemview
