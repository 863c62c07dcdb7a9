#include <array>
#include <span>
#include <utility>

#include "protocol/Message.h"
#include "runtime/Log.h"
#include "runtime/Truncation.h"
#include "wifi/WiFiSender.h"

namespace tandemview {

namespace {

constexpr std::size_t prefixSize = 4;

/// More frames in flight would only be older when they arrive.
constexpr int maxPendingSends = 3;
constexpr std::int64_t dropsPerLogLine = 120;

/// A phone that pings but never reads must not fill our memory with answers.
constexpr int maxPendingPongs = 64;

constexpr double connectedDelay = 0.5;
constexpr double heartbeatInterval = 2.0;
constexpr double heartbeatTimeout = 10.0;

/// The message behind its length, 4 bytes big-endian.
Data envelope(const Data& message) {
  const auto length = static_cast<std::uint32_t>(message.size());
  const std::array prefix{std::byte(length >> 24), std::byte(length >> 16), std::byte(length >> 8), std::byte(length)};
  return Data::copying(prefix).joinedWith(message);
}

std::uint32_t lengthIn(std::span<const std::byte> prefix) {
  std::uint32_t length = 0;
  for (const std::byte byte : prefix) length = length << 8 | std::to_integer<std::uint32_t>(byte);
  return length;
}

}  // namespace

/// A handler that passes a report about `connection` on to `handler` while the sender exists.
template <typename... Arguments>
auto WiFiSender::reportOf(const Connection& connection, void (WiFiSender::*handler)(const Connection&, Arguments...)) {
  return [weak = weak_from_this(), weakConnection = std::weak_ptr(connection), handler](Arguments... arguments) {
    if (const auto sender = weak.lock()) (sender.get()->*handler)(weakConnection.lock(), std::move(arguments)...);
  };
}

template <typename... Arguments>
void WiFiSender::notify(const std::function<void(Arguments...)> WiFiSender::*callback, Arguments... arguments) {
  surroundings_.mainQueue->async([weak = weak_from_this(), callback, ... arguments = std::move(arguments)] {
    const auto sender = weak.lock();
    if (sender && sender.get()->*callback) (sender.get()->*callback)(arguments...);
  });
}

WiFiSender::Connection WiFiSender::connection() const {
  const std::lock_guard lock(stateLock_);
  return connection_;
}

bool WiFiSender::isLive() const {
  const std::lock_guard lock(stateLock_);
  return connection_ && !isConnecting_;
}

bool WiFiSender::isCurrent(const Connection& connection) const {
  return connection && connection == this->connection();
}

void WiFiSender::connect(const std::shared_ptr<const WiFiEndpoint>& endpoint) {
  forgetPendingSends();
  {
    const std::lock_guard lock(pendingSendsLock_);
    droppedFrames_ = 0;
  }
  const Connection connection = surroundings_.network->makeConnection(endpoint);
  // Started before anybody can send over it; its reports come behind this, on this same queue.
  connection->start({.queue = surroundings_.queue,
                     .didBecomeReady = reportOf(connection, &WiFiSender::connectionReady),
                     .didFail = reportOf(connection, &WiFiSender::connectionFailed),
                     .didCancel = reportOf(connection, &WiFiSender::connectionCancelled)});
  bool isStopped = false;
  {
    const std::lock_guard lock(stateLock_);
    isStopped = !isConnecting_;
    if (!isStopped) connection_ = connection;
  }
  if (isStopped) connection->cancel();
}

void WiFiSender::cancelConnection() {
  Connection connection;
  {
    const std::lock_guard lock(stateLock_);
    isConnecting_ = false;
    connection = std::exchange(connection_, nullptr);
  }
  if (connection) connection->cancel();
}

void WiFiSender::connectionReady(const Connection& connection) {
  {
    const std::lock_guard lock(stateLock_);
    if (!connection || connection_ != connection) return;
    isConnecting_ = false;
  }
  cancelBrowser();
  lastDataReceived_ = surroundings_.wallClock->now();
  surroundings_.mainQueue->async(reportOf(connection, &WiFiSender::startHeartbeat));
  Log::line("✅ WiFiSender: Connected to iPhone via P2P WiFi!");
  connection->send(envelope(MacProtocol::macInfo(surroundings_.program)), [](const std::optional<Error>&) {});
  surroundings_.mainQueue->after(connectedDelay, reportOf(connection, &WiFiSender::announceConnected));
  receiveHeader(connection);
}

void WiFiSender::connectionFailed(const Connection& connection, Error error) {
  {
    const std::lock_guard lock(stateLock_);
    if (!connection || connection_ != connection) return;
    connection_ = nullptr;
    isConnecting_ = false;
  }
  Log::print("❌ WiFiSender: Connection failed: {}", error.localizedDescription());
  stopHeartbeat();
  notify(&WiFiSender::onClientDisconnected);
  restartBrowser();
}

/// Also reached long after stop() or a drop; then the next link must not suffer from it.
void WiFiSender::connectionCancelled(const Connection& connection) {
  {
    const std::lock_guard lock(stateLock_);
    if (connection_ && connection_ != connection) return;
    connection_ = nullptr;
  }
  stopHeartbeat();
  notify(&WiFiSender::onClientDisconnected);
}

/// A link that has ended by now was dropped before its owner knew of it, and only the owner starts a new search: it
/// hears of both.
void WiFiSender::announceConnected(const Connection& link) {
  if (onClientConnected) onClientConnected();
  if (!isCurrent(link) && !connection() && onClientDisconnected) onClientDisconnected();
}

void WiFiSender::receiveHeader(const Connection& connection) {
  connection->receive(prefixSize, reportOf(connection, &WiFiSender::receivedHeader));
}

void WiFiSender::receivedHeader(const Connection& connection, WiFiConnection::Received received) {
  if (received.error) {
    return Log::print("❌ WiFiSender: Receive error: {}", received.error->localizedDescription());
  }
  if (!isCurrent(connection)) return;
  if (received.streamEnded) return notify(&WiFiSender::onClientDisconnected);
  if (received.bytes.size() != prefixSize) return receiveHeader(connection);
  const std::uint32_t length = lengthIn(received.bytes.bytes());
  if (length < 1 || length > MacProtocol::longestMessage) {
    Log::print("⚠️ WiFiSender: Invalid message length {} - dropping connection", length);
    return dropStaleLink(connection);
  }
  connection->receive(length, reportOf(connection, &WiFiSender::receivedBody));
}

void WiFiSender::receivedBody(const Connection& connection, WiFiConnection::Received received) {
  const bool isFromLink = isCurrent(connection);
  if (isFromLink) lastDataReceived_ = surroundings_.wallClock->now();
  if (received.error) {
    return Log::print("❌ WiFiSender: Data receive error: {}", received.error->localizedDescription());
  }
  if (!isFromLink) return;
  if (received.streamEnded) return notify(&WiFiSender::onClientDisconnected);
  handleMessage(connection, received.bytes);
  receiveHeader(connection);
}

void WiFiSender::handleMessage(const Connection& connection, const Data& message) {
  using MacProtocol::MessageKind;
  const MacProtocol::ClassifiedMessage classified = MacProtocol::classify(message);
  switch (classified.kind) {
    case MessageKind::ping:
      return answerPing(connection, message);
    case MessageKind::deviceInfo:
      return notify(&WiFiSender::onDeviceInfo, *classified.deviceInfo);
    case MessageKind::keyEvent:
      return notify(&WiFiSender::onKeyEvent, message);
    case MessageKind::touchEvent:
      return notify(&WiFiSender::onTouchEvent, message);
    case MessageKind::pong:
    case MessageKind::invalidDeviceInfo:
    case MessageKind::unrecognized:
      return;
  }
}

/// At once and outside the count of frames: the phone measures its delay by it.
void WiFiSender::answerPing(const Connection& connection, const Data& ping) {
  if (pendingPongs_ >= maxPendingPongs) return;
  ++pendingPongs_;
  connection->send(envelope(MacProtocol::pong(ping, surroundings_.clock->now())),
                   [weak = weak_from_this()](const std::optional<Error>&) {
                     if (const auto sender = weak.lock()) --sender->pendingPongs_;
                   });
}

bool WiFiSender::sendFrame(const Data& data) {
  const Connection connection = this->connection();
  if (!connection) return false;
  std::uint64_t epoch = 0;
  {
    const std::lock_guard lock(pendingSendsLock_);
    if (pendingSends_ >= maxPendingSends) {
      if (++droppedFrames_ % dropsPerLogLine == 1) {
        Log::print("⚠️ WiFiSender: link congested — dropping frames to keep connection alive ({} dropped so far)",
                   droppedFrames_);
      }
      hasRefusedFrame_ = true;
      return false;
    }
    ++pendingSends_;
    epoch = sendsEpoch_;
  }
  connection->send(envelope(data), [weak = weak_from_this(), epoch](const std::optional<Error>&) {
    if (const auto sender = weak.lock()) sender->frameDone(epoch);
  });
  return true;
}

void WiFiSender::frameDone(std::uint64_t epoch) {
  bool hasRefusedFrame = false;
  {
    const std::lock_guard lock(pendingSendsLock_);
    if (sendsEpoch_ != epoch) return;
    --pendingSends_;
    hasRefusedFrame = std::exchange(hasRefusedFrame_, false);
  }
  if (hasRefusedFrame) notify(&WiFiSender::onRoomForFrames);
}

void WiFiSender::forgetPendingSends() {
  const std::lock_guard lock(pendingSendsLock_);
  pendingSends_ = 0;
  hasRefusedFrame_ = false;
  ++sendsEpoch_;
}

void WiFiSender::startHeartbeat(const Connection& connection) {
  if (!isCurrent(connection)) return;
  heartbeatTimer_ = Timer::repeating(surroundings_.mainQueue, heartbeatInterval, [weak = weak_from_this()] {
    if (const auto sender = weak.lock()) sender->checkHeartbeat();
  });
}

void WiFiSender::stopHeartbeat() {
  surroundings_.mainQueue->async([weak = weak_from_this()] {
    if (const auto sender = weak.lock()) sender->heartbeatTimer_ = nullptr;
  });
}

void WiFiSender::checkHeartbeat() {
  const Connection connection = this->connection();
  const double elapsed = surroundings_.wallClock->now() - lastDataReceived_;
  if (elapsed <= heartbeatTimeout || !connection) return;
  Log::print("⚠️ WiFiSender: No data for {}s - connection appears dead, disconnecting...", truncated(elapsed));
  dropStaleLink(connection);
}

void WiFiSender::dropStaleLink(const Connection& connection) {
  {
    const std::lock_guard lock(stateLock_);
    if (connection_ != connection) return;
    connection_ = nullptr;
    isConnecting_ = false;
  }
  stopHeartbeat();
  connection->cancel();
  forgetPendingSends();
  Log::line("🔄 WiFiSender: Stale WiFi connection dropped — resuming browsing");
  notify(&WiFiSender::onClientDisconnected);
}

}  // namespace tandemview
