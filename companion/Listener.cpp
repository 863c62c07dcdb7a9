#include "companion/Listener.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>

#include "runtime/Socket.h"

namespace tandemview {

namespace {

constexpr int backlog = 64;

/// Until the next attempt when the system has run out of something; the connection stays pending meanwhile.
constexpr double retrySeconds = 0.1;

bool setOption(int socket, int level, int option) {
  const int on = 1;
  return ::setsockopt(socket, level, option, &on, sizeof(on)) == 0;
}

template <typename Address>
Result<Descriptor> listeningAt(const Address& address, int family) {
  Descriptor socket = newSocket(family, SOCK_STREAM);
  if (!socket || !makeNonBlocking(socket.get()) || !setOption(socket.get(), SOL_SOCKET, SO_REUSEADDR) ||
      ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
      ::listen(socket.get(), backlog) != 0) {
    return tl::unexpected(posixError(errno));
  }
  return socket;
}

}  // namespace

Result<std::shared_ptr<Listener>> Listener::on(Descriptor socket, std::shared_ptr<Queue> queue, Accept accept) {
  auto watch = queue->watch(socket.get());
  if (!watch) return tl::unexpected(watch.error());
  std::shared_ptr<Listener> listener(
      new Listener(std::move(socket), std::move(queue), std::move(*watch), std::move(accept)));
  listener->waitForConnections();
  return listener;
}

Listener::Listener(Descriptor socket, std::shared_ptr<Queue> queue, std::unique_ptr<DescriptorWatch> watch,
                   Accept accept)
    : socket_(std::move(socket)), queue_(std::move(queue)), watch_(std::move(watch)), accept_(std::move(accept)) {}

void Listener::waitForConnections() {
  watch_->whenReadable([weak = weak_from_this()] {
    if (const auto listener = weak.lock()) listener->acceptPending();
  });
}

void Listener::acceptPending() {
  while (true) {
    Descriptor connection = acceptedConnection(socket_.get());
    if (!connection) break;
    // A ping must not wait for the next frame. Unix sockets refuse the option and do not need it.
    setOption(connection.get(), IPPROTO_TCP, TCP_NODELAY);
    if (makeNonBlocking(connection.get())) accept_(std::move(connection));
  }
  if (errno != EMFILE && errno != ENFILE && errno != ENOBUFS && errno != ENOMEM) return waitForConnections();
  queue_->after(retrySeconds, [weak = weak_from_this()] {
    if (const auto listener = weak.lock()) listener->waitForConnections();
  });
}

Result<Descriptor> listeningLoopbackSocket(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return listeningAt(address, AF_INET);
}

Result<Descriptor> listeningSocket() {
  sockaddr_in6 both{};
  both.sin6_family = AF_INET6;
  if (auto socket = listeningAt(both, AF_INET6)) return socket;
  sockaddr_in ipv4{};  // a system without IPv6
  ipv4.sin_family = AF_INET;
  return listeningAt(ipv4, AF_INET);
}

std::uint16_t localPort(int socket) {
  sockaddr_in6 address{};  // with the port where an IPv4 address has it too
  socklen_t length = sizeof(address);
  if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) return 0;
  return address.sin6_family == AF_INET || address.sin6_family == AF_INET6 ? ntohs(address.sin6_port) : 0;
}

}  // namespace tandemview
