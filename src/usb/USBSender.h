#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "protocol/PendingSends.h"
#include "protocol/PhoneCallbacks.h"
#include "protocol/ProgramInfo.h"
#include "runtime/Data.h"
#include "runtime/MediaClock.h"
#include "runtime/NotificationCenter.h"
#include "runtime/Queue.h"
#include "runtime/Timer.h"
#include "usb/PTChannel.h"
#include "usb/PTUSBHub.h"

namespace tandemview {

/// The link to the companion app over the cable: finds the phone, connects, retries, sends frames and hands on what
/// the phone says. Called on the main queue, but for sendFrame() and linkNumber().
class USBSender final : public PhoneCallbacks,
                        public PTChannelDelegate,
                        public std::enable_shared_from_this<USBSender> {
 public:
  struct Surroundings {
    std::shared_ptr<Queue> mainQueue;
    std::shared_ptr<NotificationCenter> notificationCenter;
    std::shared_ptr<const MediaClock> clock;
    ProgramInfo program;
    /// The hub that everybody shares, made by the first call.
    std::function<std::shared_ptr<PTUSBHub>()> sharedHub;
  };

  /// `port`: the companion app's TCP port on the device. Starts nothing.
  USBSender(std::uint16_t port, Surroundings surroundings);
  ~USBSender() override;

  void start();
  void stop();

  /// Sends one video frame, or drops it when no link stands or three frames are on their way already. The number of the
  /// link that has taken it; no two links of a sender have the same. From any thread; never blocks.
  std::optional<std::uint64_t> sendFrame(const Data& data);

  /// Of the link that stands. From any thread.
  std::optional<std::uint64_t> linkNumber() const;

  void retryConnection();
  void startRetryTimer();
  void stopRetryTimer();

  /// The open channel to the companion app; its presence means connected.
  const std::shared_ptr<PTChannel>& peerChannel() const { return peerChannel_; }
  bool isRetrying() const { return retryTimer_ != nullptr; }

 private:
  Wants wants() const override;
  void ioFrameChannel(PTChannel& channel, std::uint32_t didReceiveFrameOfType, std::uint32_t tag,
                      std::optional<Data> payload) override;
  void ioFrameChannel(PTChannel& channel, const std::optional<Error>& didEndWithError) override;
  using PTChannelDelegate::ioFrameChannel;

  void deviceAttached(const PropertyList& userInfo);
  void deviceDetached(const PropertyList& userInfo);
  /// A channel that is being connected.
  struct Attempt {
    std::shared_ptr<PTChannel> channel;
    std::int64_t deviceID;
  };

  void connectToDevice(std::int64_t deviceID);
  void attemptEnded(const std::shared_ptr<PTChannel>& channel, const std::optional<Error>& error);
  void connected(const Attempt& attempt);
  void giveUpAttempts(const std::function<bool(const Attempt&)>& isMeant);
  void retryTimerFired();
  void receivedDeviceInfo(const Data& payload);
  void answerPing(const Data& ping);
  void setPeerChannel(std::shared_ptr<PTChannel> channel);
  bool isPeer(const std::weak_ptr<PTChannel>& channel) const;
  void frameDone(std::uint64_t link);
  template <typename... Arguments>
  void notify(const std::function<void(Arguments...)> PhoneCallbacks::*callback, Arguments... arguments);

  const Surroundings surroundings_;
  std::shared_ptr<PTChannel> peerChannel_;  // written under the lock, for sendFrame()
  std::vector<Attempt> attempts_;           // the oldest first; several to one device when the daemon answers late
  std::optional<std::int64_t> connectedDeviceID_;
  std::optional<std::int64_t> connectingToDeviceID_;
  const std::uint16_t portNumber_;
  std::vector<NotificationCenter::Token> notificationObservers_;
  std::optional<std::int64_t> lastAttachedDeviceID_;
  std::shared_ptr<Timer> retryTimer_;
  int pendingPongs_ = 0;       // of peerChannel_
  PendingSends pendingSends_;  // of peerChannel_, under the lock
  mutable std::mutex pendingSendsLock_;
};

}  // namespace tandemview
