#include "platform/linux/wifi/ConnectionRace.h"

#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "runtime/Socket.h"

namespace tandemview {

namespace {

/// RFC 8305, section 8: how long the other family's addresses are waited for, and the next attempt held back.
constexpr double resolutionDelay = 0.05;
constexpr double attemptDelay = 0.25;

constexpr double longestRace = 10;  // seconds
constexpr std::size_t mostAddresses = 16;

bool setOption(const Descriptor& socket, int level, int option, int value) {
  return ::setsockopt(socket.get(), level, option, &value, sizeof(value)) == 0;
}

/// Whoever announces a service may name any address, such as one in another network or a loopback one: what is sent
/// leaves by this interface alone, and no router passes it on. The loopback addresses lie behind the loopback
/// interface.
bool keepToLink(const Descriptor& socket, const SocketAddress& address) {
  constexpr int noRouter = 1;
  const bool isIPv6 = address.family() == AF_INET6;
  if (address.interface <= 0) errno = ENODEV;  // none would mean any
  return address.interface > 0 && setOption(socket, SOL_SOCKET, SO_BINDTOIFINDEX, address.interface) &&
         setOption(socket, isIPv6 ? int{IPPROTO_IPV6} : int{IPPROTO_IP}, isIPv6 ? IPV6_UNICAST_HOPS : IP_TTL, noRouter);
}

}  // namespace

std::shared_ptr<ConnectionRace> ConnectionRace::start(std::shared_ptr<Queue> queue, Completion completion) {
  std::shared_ptr<ConnectionRace> race(new ConnectionRace(std::move(queue), std::move(completion)));
  race->queue_->after(longestRace, [weak = std::weak_ptr(race)] {
    if (const auto slow = weak.lock()) slow->complete(tl::unexpected(posixError(ETIMEDOUT)));
  });
  return race;
}

ConnectionRace::ConnectionRace(std::shared_ptr<Queue> queue, Completion completion)
    : queue_(std::move(queue)), completion_(std::move(completion)), lastError_(posixError(EHOSTUNREACH)) {}

void ConnectionRace::add(const SocketAddress& address) {
  if (++addressCount_ > mostAddresses) return;
  addresses_.push_back(address);
  if (!waitsForTurn_) tryNextAfter(address.family() == AF_INET6 ? 0 : resolutionDelay);
}

void ConnectionRace::endAddresses() {
  moreMayCome_ = false;
  if (addresses_.empty() && attempts_.empty()) tryNextAfter(0);
}

void ConnectionRace::tryNextAfter(double delay) {
  waitsForTurn_ = true;
  queue_->after(delay, [weak = weak_from_this(), turn = ++turn_] {
    const auto race = weak.lock();
    if (!race || race->turn_ != turn) return;
    race->waitsForTurn_ = false;
    race->tryNext();
  });
}

void ConnectionRace::tryNext() {
  if (addresses_.empty()) {
    if (attempts_.empty() && !moreMayCome_) complete(tl::unexpected(lastError_));
    return;
  }
  Result<Descriptor> socket = beginConnecting(takeNextAddress());
  if (!socket) return attemptHasFailed(socket.error());
  auto watch = queue_->watch(socket->get());
  if (!watch) return attemptHasFailed(watch.error());
  const auto attempt = std::make_shared<Attempt>();
  attempt->socket = std::move(*socket);
  attempt->watch = std::move(*watch);
  attempts_.push_back(attempt);
  attempt->watch->whenWritable([weak = weak_from_this(), weakAttempt = std::weak_ptr(attempt)] {
    const auto race = weak.lock();
    const auto done = weakAttempt.lock();
    if (race && done) race->attemptIsDone(done);
  });
  tryNextAfter(attemptDelay);
}

SocketAddress ConnectionRace::takeNextAddress() {
  auto next = std::ranges::find_if(addresses_, [&](const auto& address) { return address.family() != lastFamily_; });
  if (next == addresses_.end()) next = addresses_.begin();
  const SocketAddress address = *next;
  addresses_.erase(next);
  lastFamily_ = address.family();
  return address;
}

Result<Descriptor> ConnectionRace::beginConnecting(const SocketAddress& address) const {
  Descriptor socket = newSocket(address.family(), SOCK_STREAM, IPPROTO_TCP);
  if (!socket || !makeNonBlocking(socket.get()) || !keepToLink(socket, address)) {
    return tl::unexpected(posixError(errno));
  }
  // A ping must not wait for the next frame.
  setOption(socket, IPPROTO_TCP, TCP_NODELAY, 1);
  const int status = std::visit(
      [&](const auto& ip) { return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&ip), sizeof(ip)); },
      address.address);
  if (status != 0 && errno != EINPROGRESS) return tl::unexpected(posixError(errno));
  return socket;
}

void ConnectionRace::attemptIsDone(const std::shared_ptr<Attempt>& attempt) {
  std::erase(attempts_, attempt);
  attempt->watch = nullptr;
  int code = 0;
  socklen_t length = sizeof(code);
  if (::getsockopt(attempt->socket.get(), SOL_SOCKET, SO_ERROR, &code, &length) != 0) code = errno;
  if (code != 0) return attemptHasFailed(posixError(code));
  complete(std::move(attempt->socket));
}

void ConnectionRace::attemptHasFailed(Error error) {
  lastError_ = std::move(error);
  tryNextAfter(0);
}

void ConnectionRace::complete(Result<Descriptor> result) {
  if (!completion_) return;
  attempts_.clear();
  addresses_.clear();
  ++turn_;
  std::exchange(completion_, nullptr)(std::move(result));
}

}  // namespace tandemview
