#include <utility>

#include "protocol/Message.h"
#include "runtime/BigEndian.h"
#include "runtime/Log.h"
#include "runtime/Truncation.h"
#include "runtime/Weakly.h"
#include "wifi/WiFiSender.h"

namespace tandemview {

namespace {

constexpr std::size_t prefixSize = 4;

constexpr std::int64_t dropsPerLogLine = 120;

/// A tap keeps the main queue for 10 ms: what waits there is done within two tenths of a second, and the menu, the
/// cable and the signal that ends the program wait no longer than that. Beyond it the phone is held up, by TCP.
constexpr int mostWaitingMessages = 16;

constexpr double connectedDelay = 0.5;
constexpr double heartbeatInterval = 2.0;
constexpr double heartbeatTimeout = 10.0;

/// The message behind its length, 4 bytes big-endian.
Data envelope(const Data& message) {
  return Data::copying(bigEndianBytes(static_cast<std::uint32_t>(message.size()))).joinedWith(message);
}

}  // namespace

/// A handler that passes a report about `link` on to `handler` while the sender exists.
template <typename... Arguments>
auto WiFiSender::reportOf(const LinkPointer& link, void (WiFiSender::*handler)(const LinkPointer&, Arguments...)) {
  return weakly(this, [weakLink = std::weak_ptr(link), handler](WiFiSender& sender, Arguments... arguments) {
    (sender.*handler)(weakLink.lock(), std::move(arguments)...);
  });
}

template <typename... Arguments>
void WiFiSender::notify(const std::function<void(Arguments...)> PhoneCallbacks::*callback, Arguments... arguments) {
  surroundings_.mainQueue->async(weakly(this, [callback, ... arguments = std::move(arguments)](WiFiSender& sender) {
    if (sender.*callback) (sender.*callback)(arguments...);
  }));
}

/// The same for a message of the phone, which counts until the main queue has taken it.
template <typename Message>
void WiFiSender::handOver(const LinkPointer& link, const std::function<void(Message)> PhoneCallbacks::*callback,
                          Message message) {
  ++link->waitingMessages;
  surroundings_.mainQueue->async(weakly(this, [callback, message = std::move(message),
                                               taken = reportOf(link, &WiFiSender::messageTaken)](WiFiSender& sender) {
    if (sender.*callback) (sender.*callback)(message);
    sender.surroundings_.queue->async(taken);
  }));
}

WiFiSender::LinkPointer WiFiSender::link() const {
  const std::lock_guard lock(stateLock_);
  return link_;
}

std::shared_ptr<WiFiConnection> WiFiSender::connection() const {
  const LinkPointer link = this->link();
  return link ? link->connection : nullptr;
}

bool WiFiSender::isLive() const {
  const LinkPointer link = this->link();
  return link && link->isLive;
}

bool WiFiSender::isCurrent(const LinkPointer& link) const {
  return link && link == this->link();
}

void WiFiSender::connect(const std::shared_ptr<const WiFiEndpoint>& endpoint) {
  forgetPendingSends();
  {
    const std::lock_guard lock(pendingSendsLock_);
    droppedFrames_ = 0;
  }
  const auto link = std::make_shared<Link>(surroundings_.network->makeConnection(endpoint));
  // Started before anybody can cancel it; its reports come behind this, on this same queue.
  link->connection->start({.queue = surroundings_.queue,
                           .didBecomeReady = reportOf(link, &WiFiSender::connectionReady),
                           .didFail = reportOf(link, &WiFiSender::connectionFailed),
                           .didCancel = reportOf(link, &WiFiSender::connectionCancelled)});
  bool isStopped = false;
  {
    const std::lock_guard lock(stateLock_);
    isStopped = !isConnecting_;
    if (!isStopped) link_ = link;
  }
  if (isStopped) link->connection->cancel();
}

void WiFiSender::cancelConnection() {
  LinkPointer link;
  {
    const std::lock_guard lock(stateLock_);
    isConnecting_ = false;
    link = std::exchange(link_, nullptr);
  }
  if (link) link->connection->cancel();
}

void WiFiSender::connectionReady(const LinkPointer& link) {
  {
    const std::lock_guard lock(stateLock_);
    if (!link || link_ != link) return;
    isConnecting_ = false;
  }
  cancelBrowser();
  lastDataReceived_ = surroundings_.wallClock->now();
  surroundings_.mainQueue->async(reportOf(link, &WiFiSender::startHeartbeat));
  Log::line("✅ WiFiSender: Connected to iPhone via P2P WiFi!");
  link->connection->send(envelope(MacProtocol::macInfo(surroundings_.program)), [](const std::optional<Error>&) {});
  link->isLive = true;  // from now on frames go out, behind the greeting
  surroundings_.mainQueue->after(connectedDelay, reportOf(link, &WiFiSender::announceConnected));
  receiveHeader(link);
}

void WiFiSender::connectionFailed(const LinkPointer& link, Error error) {
  {
    const std::lock_guard lock(stateLock_);
    if (!link || link_ != link) return;
    link_ = nullptr;
    isConnecting_ = false;
  }
  Log::print("❌ WiFiSender: Connection failed: {}", error.localizedDescription());
  stopHeartbeat();
  notify(&PhoneCallbacks::onClientDisconnected);
  restartBrowser();
}

/// Also reached long after stop() or a drop; then the next link must not suffer from it.
void WiFiSender::connectionCancelled(const LinkPointer& link) {
  {
    const std::lock_guard lock(stateLock_);
    if (link_ && link_ != link) return;
    link_ = nullptr;
  }
  stopHeartbeat();
  notify(&PhoneCallbacks::onClientDisconnected);
}

/// A link that has ended by now did so before its owner knew of it, and only the owner starts a new search: it hears of
/// both.
void WiFiSender::announceConnected(const LinkPointer& announced) {
  if (onClientConnected) onClientConnected();
  const LinkPointer link = this->link();
  const bool hasEnded = !link || (link == announced && !link->isLive);
  if (hasEnded && onClientDisconnected) onClientDisconnected();
}

void WiFiSender::receiveHeader(const LinkPointer& link) {
  link->connection->receive(prefixSize, reportOf(link, &WiFiSender::receivedHeader));
}

void WiFiSender::receivedHeader(const LinkPointer& link, WiFiConnection::Received received) {
  if (received.error) {
    return Log::print("❌ WiFiSender: Receive error: {}", received.error->localizedDescription());
  }
  if (!isCurrent(link)) return;
  if (received.streamEnded) return streamEnded(link);
  const std::uint64_t length = bigEndianNumber(received.bytes.bytes());
  if (length < 1 || length > MacProtocol::longestMessage) {
    Log::print("⚠️ WiFiSender: Invalid message length {} - dropping connection", length);
    return dropStaleLink(link);
  }
  link->connection->receive(length, reportOf(link, &WiFiSender::receivedBody));
}

void WiFiSender::receivedBody(const LinkPointer& link, WiFiConnection::Received received) {
  const bool isFromLink = isCurrent(link);
  if (isFromLink) lastDataReceived_ = surroundings_.wallClock->now();
  if (received.error) {
    return Log::print("❌ WiFiSender: Data receive error: {}", received.error->localizedDescription());
  }
  if (!isFromLink) return;
  if (received.streamEnded) return streamEnded(link);
  handleMessage(link, received.bytes);
  if (link->waitingMessages < mostWaitingMessages) return receiveHeader(link);
  link->isReceivingHeld = true;
}

void WiFiSender::streamEnded(const LinkPointer& link) {
  link->isLive = false;
  notify(&PhoneCallbacks::onClientDisconnected);
}

void WiFiSender::handleMessage(const LinkPointer& link, const Data& message) {
  using MacProtocol::MessageKind;
  const MacProtocol::ClassifiedMessage classified = MacProtocol::classify(message);
  switch (classified.kind) {
    case MessageKind::ping:
      return answerPing(link, message);
    case MessageKind::deviceInfo:
      return handOver(link, &PhoneCallbacks::onDeviceInfo, *classified.deviceInfo);
    case MessageKind::keyEvent:
      return handOver(link, &PhoneCallbacks::onKeyEvent, message);
    case MessageKind::touchEvent:
      return handOver(link, &PhoneCallbacks::onTouchEvent, message);
    case MessageKind::pong:
    case MessageKind::invalidDeviceInfo:
    case MessageKind::unrecognized:
      return;
  }
}

/// The silence of a link that was held counts as ours.
void WiFiSender::messageTaken(const LinkPointer& link) {
  if (!link) return;
  --link->waitingMessages;
  if (!link->isReceivingHeld) return;
  lastDataReceived_ = surroundings_.wallClock->now();
  link->isReceivingHeld = false;
  if (isCurrent(link)) receiveHeader(link);
}

/// At once and outside the count of frames: the phone measures its delay by it.
void WiFiSender::answerPing(const LinkPointer& link, const Data& ping) {
  if (pendingPongs_ >= maxPendingPongs) return;
  ++pendingPongs_;
  link->connection->send(envelope(MacProtocol::pong(ping, surroundings_.clock->now())),
                         weakly(this, [](WiFiSender& sender, const std::optional<Error>&) { --sender.pendingPongs_; }));
}

std::optional<std::uint64_t> WiFiSender::sendFrame(const Data& data) {
  const LinkPointer link = this->link();
  if (!link || !link->isLive) return std::nullopt;
  std::uint64_t number = 0;
  {
    const std::lock_guard lock(pendingSendsLock_);
    if (!pendingSends_.add()) {
      if (++droppedFrames_ % dropsPerLogLine == 1) {
        Log::print("⚠️ WiFiSender: link congested — dropping frames to keep connection alive ({} dropped so far)",
                   droppedFrames_);
      }
      return std::nullopt;
    }
    number = pendingSends_.link();
  }
  link->connection->send(envelope(data), weakly(this, [number](WiFiSender& sender, const std::optional<Error>&) {
                           sender.frameDone(number);
                         }));
  return number;
}

std::optional<std::uint64_t> WiFiSender::linkNumber() const {
  if (!isLive()) return std::nullopt;
  const std::lock_guard lock(pendingSendsLock_);
  return pendingSends_.link();
}

void WiFiSender::frameDone(std::uint64_t link) {
  bool hasRoomAgain = false;
  {
    const std::lock_guard lock(pendingSendsLock_);
    hasRoomAgain = pendingSends_.remove(link);
  }
  if (hasRoomAgain) notify(&PhoneCallbacks::onRoomForFrames);
}

void WiFiSender::forgetPendingSends() {
  const std::lock_guard lock(pendingSendsLock_);
  pendingSends_.startAnew();
}

void WiFiSender::startHeartbeat(const LinkPointer& link) {
  if (!isCurrent(link)) return;
  heartbeatTimer_ =
      Timer::repeating(surroundings_.mainQueue, heartbeatInterval, weakly(this, &WiFiSender::checkHeartbeat));
}

void WiFiSender::stopHeartbeat() {
  surroundings_.mainQueue->async(weakly(this, [](WiFiSender& sender) { sender.heartbeatTimer_ = nullptr; }));
}

void WiFiSender::checkHeartbeat() {
  const LinkPointer link = this->link();
  if (!link || link->isReceivingHeld) return;
  const double elapsed = surroundings_.wallClock->now() - lastDataReceived_;
  if (elapsed <= heartbeatTimeout) return;
  Log::print("⚠️ WiFiSender: No data for {}s - connection appears dead, disconnecting...", truncated(elapsed));
  dropStaleLink(link);
}

void WiFiSender::dropStaleLink(const LinkPointer& link) {
  {
    const std::lock_guard lock(stateLock_);
    if (link_ != link) return;
    link_ = nullptr;
    isConnecting_ = false;
  }
  stopHeartbeat();
  link->connection->cancel();
  forgetPendingSends();
  Log::line("🔄 WiFiSender: Stale WiFi connection dropped — resuming browsing");
  notify(&PhoneCallbacks::onClientDisconnected);
}

}  // namespace tandemview
