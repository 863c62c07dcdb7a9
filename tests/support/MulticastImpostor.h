#pragma once

#include <netinet/in.h>

#include <string>

#include "runtime/Descriptor.h"

namespace tandemview {

/// Somebody on the loopback interface who says what he likes in multicast DNS messages (RFC 6762).
class MulticastImpostor {
 public:
  /// A pointer record to a service of this name, for so many seconds; 0 takes it back.
  void announce(const std::string& name, char seconds) const {
    say(serviceType() + record(0x0C, seconds, label(name) + "\xC0\x0C"));  // and the type, by reference
  }

  /// A service record: that the host `host`.local offers the service, at this port, for so many seconds.
  void claim(const std::string& name, const std::string& host, int port, char seconds = 120) const {
    using std::string_literals::operator""s;
    const std::string where = "\0\0\0\0"s + static_cast<char>(port >> 8) + static_cast<char>(port);
    say(label(name) + serviceType() + record(0x21, seconds, where + localName(host)));
  }

  /// An address record: that `host`.local is this very host.
  void settle(const std::string& host) const { say(localName(host) + record(0x01, 120, {127, 0, 0, 1})); }

 private:
  static std::string label(const std::string& text) { return static_cast<char>(text.size()) + text; }
  static std::string localName(const std::string& host) { return label(host) + label("local") + '\0'; }
  static std::string serviceType() { return label("_scrstream") + label("_tcp") + label("local") + '\0'; }
  static std::string record(char type, char seconds, const std::string& data) {
    using std::string_literals::operator""s;
    return "\0"s + type + "\0\x01\0\0\0"s + seconds + '\0' + static_cast<char>(data.size()) + data;
  }
  void say(const std::string& answer) const {
    using std::string_literals::operator""s;
    const std::string message = "\0\0\x84\0\0\0\0\x01\0\0\0\0"s + answer;
    const sockaddr_in group = address(0xE00000FB);  // 224.0.0.251
    ::sendto(socket_.get(), message.data(), message.size(), 0, reinterpret_cast<const sockaddr*>(&group),
             sizeof(group));
  }
  static sockaddr_in address(std::uint32_t host) {
    return {.sin_family = AF_INET, .sin_port = htons(5353), .sin_addr = {htonl(host)}, .sin_zero = {}};
  }
  static Descriptor multicastSocket() {
    Descriptor socket(::socket(AF_INET, SOCK_DGRAM, 0));
    const int on = 1;
    const int hops = 255;
    ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEPORT, &on, sizeof(on));
    ::setsockopt(socket.get(), IPPROTO_IP, IP_MULTICAST_TTL, &hops, sizeof(hops));
    const ip_mreqn loopback{.imr_multiaddr = {}, .imr_address = {}, .imr_ifindex = 1};
    ::setsockopt(socket.get(), IPPROTO_IP, IP_MULTICAST_IF, &loopback, sizeof(loopback));
    const sockaddr_in from = address(INADDR_LOOPBACK);
    ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&from), sizeof(from));
    return socket;
  }

  const Descriptor socket_ = multicastSocket();
};

}  // namespace tandemview
