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

Result<Descriptor> listeningSocketAt(const SocketAddress& address) {
  const auto* generic = reinterpret_cast<const sockaddr*>(&address.storage);
  Descriptor socket = newSocket(address.storage.ss_family, SOCK_STREAM);
  if (!socket || !makeNonBlocking(socket.get()) || !setOption(socket.get(), SOL_SOCKET, SO_REUSEADDR) ||
      ::bind(socket.get(), generic, address.length) != 0 || ::listen(socket.get(), backlog) != 0) {
    return tl::unexpected(posixError(errno));
  }
  return socket;
}

Result<Descriptor> listeningSocket() {
  if (auto socket = listeningSocketAt(*socketAddressFromText("[::]:0"))) return socket;
  return listeningSocketAt(*socketAddressFromText("0.0.0.0:0"));  // a system without IPv6
}

}  // namespace tandemview
