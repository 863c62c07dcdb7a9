#include "usb/USBSender.h"

#include <algorithm>
#include <any>
#include <nlohmann/json.hpp>

#include "protocol/Message.h"
#include "protocol/MessageType.h"
#include "runtime/FloatingPointText.h"
#include "runtime/Log.h"
#include "runtime/Trace.h"
#include "runtime/Weakly.h"
#include "usb/PTProtocol.h"

namespace tandemview {

namespace {

constexpr double connectRetryInterval = 2.0;

}  // namespace

USBSender::USBSender(std::uint16_t port, Surroundings surroundings)
    : surroundings_(std::move(surroundings)), portNumber_(port) {}

USBSender::~USBSender() {
  stop();
}

void USBSender::start() {
  Log::print("🔌 USBSender: Starting USB monitoring on port {}...", portNumber_);
  const auto observe = [this](const char* name, void (USBSender::*handler)(const PropertyList&)) {
    notificationObservers_.push_back(surroundings_.notificationCenter->addObserver(
        name, surroundings_.sharedHub().get(), weakly(this, [handler](USBSender& sender, const std::any& userInfo) {
          (sender.*handler)(std::any_cast<const PropertyList&>(userInfo));
        })));
  };
  observe(ptUSBDeviceDidAttachNotification, &USBSender::deviceAttached);
  observe(ptUSBDeviceDidDetachNotification, &USBSender::deviceDetached);
  Log::line("✅ USBSender: Monitoring for iOS devices...");
  Log::line("💡 Connect your iPhone with a USB cable");
}

void USBSender::stop() {
  Log::line("🛑 USBSender: Stopping...");
  giveUpAttempts([](const Attempt&) { return true; });
  if (peerChannel_) peerChannel_->close();
  setPeerChannel(nullptr);
  stopRetryTimer();
  for (const auto token : notificationObservers_) surroundings_.notificationCenter->removeObserver(token);
  notificationObservers_.clear();
  connectedDeviceID_.reset();
  connectingToDeviceID_.reset();
}

void USBSender::deviceAttached(const PropertyList& userInfo) {
  const auto deviceID = deviceIDOf(userInfo);
  if (!deviceID) return;
  Log::print("📱 USBSender: iOS device attached (ID: {})", *deviceID);
  lastAttachedDeviceID_ = deviceID;
  if (peerChannel_) return;
  connectingToDeviceID_ = deviceID;
  connectToDevice(*deviceID);
  startRetryTimer();
}

void USBSender::deviceDetached(const PropertyList& userInfo) {
  const std::int64_t deviceID = deviceIDOf(userInfo).value_or(0);
  Log::print("📱 USBSender: iOS device detached (ID: {})", deviceID);
  if (lastAttachedDeviceID_ == deviceID) {
    stopRetryTimer();
    lastAttachedDeviceID_.reset();
  }
  giveUpAttempts([&](const Attempt& attempt) { return attempt.deviceID == deviceID; });
  if (connectedDeviceID_ != deviceID && connectingToDeviceID_ != deviceID) return;
  connectedDeviceID_.reset();
  connectingToDeviceID_.reset();
  if (peerChannel_) peerChannel_->close();
  setPeerChannel(nullptr);
  notify(&PhoneCallbacks::onClientDisconnected);
}

void USBSender::connectToDevice(std::int64_t deviceID) {
  if (peerChannel_) return stopRetryTimer();
  Log::print("🔄 USBSender: Connecting to iOS device {} on port {}...", deviceID, portNumber_);
  giveUpAttempts([&](const Attempt& attempt) { return attempt.deviceID != deviceID; });
  const auto channel =
      PTChannel::channelWithDelegate(weak_from_this(), PTProtocol::sharedProtocolForQueue(surroundings_.mainQueue));
  attempts_.push_back({channel, deviceID});
  channel->connectToPort(
      portNumber_, surroundings_.sharedHub(), deviceID,
      weakly(this, [weakChannel = std::weak_ptr(channel)](USBSender& sender, const std::optional<Error>& error) {
        sender.attemptEnded(weakChannel.lock(), error);
      }));
}

void USBSender::attemptEnded(const std::shared_ptr<PTChannel>& channel, const std::optional<Error>& error) {
  const auto ended = std::ranges::find(attempts_, channel, &Attempt::channel);
  if (ended == attempts_.end()) return;  // given up
  const Attempt attempt = *ended;
  if (error) {
    attempts_.erase(ended);
    return Log::print("❌ USBSender: Failed to connect: {}", error->localizedDescription());
  }
  // Older attempts come too late. A newer one that succeeds takes the place of this one: a phone with room for one link
  // goes by the connection that it has accepted last, too.
  std::for_each(attempts_.begin(), ended, [](const Attempt& older) { older.channel->close(); });
  attempts_.erase(attempts_.begin(), ended + 1);
  connected(attempt);
}

void USBSender::connected(const Attempt& attempt) {
  Log::line("✅ USBSender: Connected to iOS device!");
  connectedDeviceID_ = attempt.deviceID;
  connectingToDeviceID_.reset();
  if (peerChannel_) peerChannel_->close();
  setPeerChannel(attempt.channel);
  stopRetryTimer();
  attempt.channel->sendFrameOfType(MessageType::macInfo, 0, MacProtocol::macInfo(surroundings_.program), nullptr);
  notify(&PhoneCallbacks::onClientConnected);
}

void USBSender::giveUpAttempts(const std::function<bool(const Attempt&)>& isMeant) {
  std::erase_if(attempts_, [&](const Attempt& attempt) {
    const bool isOver = isMeant(attempt);
    if (isOver) attempt.channel->close();
    return isOver;
  });
}

void USBSender::retryConnection() {
  if (peerChannel_ || !lastAttachedDeviceID_) return;
  Log::print("🔄 USBSender: Retrying connection to device {}...", *lastAttachedDeviceID_);
  connectingToDeviceID_ = lastAttachedDeviceID_;
  connectToDevice(*lastAttachedDeviceID_);
}

void USBSender::startRetryTimer() {
  if (retryTimer_) return;
  retryTimer_ =
      Timer::repeating(surroundings_.mainQueue, connectRetryInterval, weakly(this, &USBSender::retryTimerFired));
}

void USBSender::stopRetryTimer() {
  retryTimer_ = nullptr;
}

void USBSender::retryTimerFired() {
  if (peerChannel_) return stopRetryTimer();
  if (!lastAttachedDeviceID_) return;
  Log::line("🔄 USBSender: Timer retry...");
  connectToDevice(*lastAttachedDeviceID_);
}

std::optional<std::uint64_t> USBSender::sendFrame(const Data& data) {
  std::shared_ptr<PTChannel> channel;
  std::uint64_t link = 0;
  {
    const std::lock_guard lock(pendingSendsLock_);
    if (!peerChannel_ || !pendingSends_.add()) return std::nullopt;
    link = pendingSends_.link();
    channel = peerChannel_;
  }
  surroundings_.mainQueue->async([weak = weak_from_this(), channel = std::move(channel), data, link] {
    const double name = Trace::nameOf(data);
    Trace::mark(Trace::Step::handedOver, name);
    channel->sendFrameOfType(MessageType::videoFrame, 0, data,
                             weakly(weak, [link, name](USBSender& sender, const auto&) {
                               Trace::mark(Trace::Step::written, name);
                               sender.frameDone(link);
                             }));
  });
  return link;
}

std::optional<std::uint64_t> USBSender::linkNumber() const {
  const std::lock_guard lock(pendingSendsLock_);
  return peerChannel_ ? std::optional(pendingSends_.link()) : std::nullopt;
}

/// What an earlier link still had in flight doesn't count for this one.
bool USBSender::isPeer(const std::weak_ptr<PTChannel>& channel) const {
  return peerChannel_ && channel.lock() == peerChannel_;
}

void USBSender::frameDone(std::uint64_t link) {
  bool hasRoomAgain = false;
  {
    const std::lock_guard lock(pendingSendsLock_);
    hasRoomAgain = pendingSends_.remove(link);
  }
  if (hasRoomAgain) notify(&PhoneCallbacks::onRoomForFrames);
}

void USBSender::setPeerChannel(std::shared_ptr<PTChannel> channel) {
  pendingPongs_ = 0;
  const std::lock_guard lock(pendingSendsLock_);
  pendingSends_.startAnew();
  peerChannel_ = std::move(channel);
}

PTChannelDelegate::Wants USBSender::wants() const {
  return {.endNotice = true};
}

void USBSender::ioFrameChannel(PTChannel&, std::uint32_t didReceiveFrameOfType, std::uint32_t,
                               std::optional<Data> payload) {
  if (!payload) return;
  switch (didReceiveFrameOfType) {
    case MessageType::deviceInfo:
      return receivedDeviceInfo(*payload);
    case MessageType::ping:
      return answerPing(*payload);
    case MessageType::touchEvent:
      return notify(&PhoneCallbacks::onTouchEvent, *payload);
    case MessageType::keyEvent:
      return notify(&PhoneCallbacks::onKeyEvent, *payload);
    default:
      return;
  }
}

void USBSender::receivedDeviceInfo(const Data& payload) {
  const auto info = MacProtocol::decodeDeviceInfo(payload);
  if (!info) return;
  Log::print("📱 USBSender: Received device info - {}x{}, scale: {}, mode: {}, orientation: {}", info->width,
             info->height, floatingPointText(info->scale), info->quality, info->orientation);
  notify(&PhoneCallbacks::onDeviceInfo, *info);
}

/// Directly, not behind the callbacks that wait on the main queue: the phone measures its delay by it.
void USBSender::answerPing(const Data& ping) {
  if (ping.size() != MacProtocol::pingSize || !peerChannel_ || pendingPongs_ >= maxPendingPongs) return;
  ++pendingPongs_;
  peerChannel_->sendFrameOfType(MessageType::pong, 0, MacProtocol::pong(ping, surroundings_.clock->now()),
                                weakly(this, [channel = std::weak_ptr(peerChannel_)](USBSender& sender, const auto&) {
                                  if (sender.isPeer(channel)) --sender.pendingPongs_;
                                }));
}

void USBSender::ioFrameChannel(PTChannel& channel, const std::optional<Error>& didEndWithError) {
  if (&channel != peerChannel_.get()) return;
  Log::print("⚠️ USBSender: Channel ended: {}",
             didEndWithError ? didEndWithError->localizedDescription() : "no error");
  setPeerChannel(nullptr);
  connectedDeviceID_.reset();
  connectingToDeviceID_.reset();
  notify(&PhoneCallbacks::onClientDisconnected);
  if (lastAttachedDeviceID_) startRetryTimer();
}

template <typename... Arguments>
void USBSender::notify(const std::function<void(Arguments...)> PhoneCallbacks::*callback, Arguments... arguments) {
  surroundings_.mainQueue->async(weakly(this, [callback, ... arguments = std::move(arguments)](USBSender& sender) {
    if (sender.*callback) (sender.*callback)(arguments...);
  }));
}

}  // namespace tandemview
