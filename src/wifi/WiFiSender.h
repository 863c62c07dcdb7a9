#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "protocol/DeviceInfo.h"
#include "protocol/ProgramInfo.h"
#include "runtime/Data.h"
#include "runtime/MediaClock.h"
#include "runtime/Queue.h"
#include "runtime/Timer.h"
#include "runtime/UserDefaults.h"
#include "runtime/WallClock.h"
#include "wifi/WiFiNetwork.h"

namespace tandemview {

/// The link to the companion app over Wi-Fi: finds the phone by the pairing code, connects, notices when the link has
/// died, sends frames and hands on what the phone says. Everything but sendFrame() is called on the main queue, where
/// all callbacks arrive too. A sender that is let go of ends its search and its link.
class WiFiSender final : public std::enable_shared_from_this<WiFiSender> {
 public:
  struct Surroundings {
    std::shared_ptr<Queue> mainQueue;
    /// The sender's own, on which the network reports: "com.app.wifisender". Others must hold it longer than the sender
    /// lives, since the sender may end on it.
    std::shared_ptr<Queue> queue;
    std::shared_ptr<WiFiNetwork> network;
    std::shared_ptr<const UserDefaults> userDefaults;
    std::shared_ptr<const MediaClock> clock;
    std::shared_ptr<const WallClock> wallClock;
    ProgramInfo program;
  };

  /// 32 random bits at each call.
  using RandomBits = std::function<std::uint32_t()>;

  /// The code to show to the user for this run: the stored one while it is younger than three hours, else a new one,
  /// which is stored.
  static std::string currentPairingCode(UserDefaults& userDefaults, const WallClock& wallClock,
                                        const RandomBits& randomBits);

  /// Starts nothing.
  explicit WiFiSender(Surroundings surroundings);

  std::function<void()> onClientConnected;
  std::function<void()> onClientDisconnected;
  std::function<void(MacProtocol::DeviceInfo)> onDeviceInfo;
  std::function<void(Data)> onTouchEvent;
  std::function<void(Data)> onKeyEvent;
  /// There is room for frames again after one was refused.
  std::function<void()> onRoomForFrames;

  /// Ends what there is and looks for the phone anew.
  void start();
  void stop();

  /// Sends one video frame, or drops it when there is no link or three frames are on their way already; whether it was
  /// sent. From any thread; never blocks.
  bool sendFrame(const Data& data);

  /// The link to the phone, also while it is being made. From any thread.
  std::shared_ptr<WiFiConnection> connection() const;

  /// Whether the link has been made. From any thread.
  bool isLive() const;

 private:
  using Connection = std::shared_ptr<WiFiConnection>;

  // Discovery, in WiFiSenderDiscovery.cpp.
  void startBrowserAfter(double delay);
  void startBrowser();
  void restartBrowser();
  void cancelBrowser();
  void browserFailed(const std::weak_ptr<WiFiBrowser>& browser, const Error& error);
  void resultsChanged(const std::weak_ptr<WiFiBrowser>& browser, const std::vector<WiFiBrowseResult>& results);

  // The link, in WiFiSenderLink.cpp. Reports come with the connection that they are about, which may be an earlier one
  // or gone.
  void connect(const std::shared_ptr<const WiFiEndpoint>& endpoint);
  void cancelConnection();
  void connectionReady(const Connection& connection);
  void connectionFailed(const Connection& connection, Error error);
  void connectionCancelled(const Connection& connection);
  void announceConnected(const Connection& connection);
  void receiveHeader(const Connection& connection);
  void receivedHeader(const Connection& connection, WiFiConnection::Received received);
  void receivedBody(const Connection& connection, WiFiConnection::Received received);
  void handleMessage(const Connection& connection, const Data& message);
  void answerPing(const Connection& connection, const Data& ping);
  void startHeartbeat(const Connection& connection);
  void stopHeartbeat();
  void checkHeartbeat();
  void dropStaleLink(const Connection& connection);
  void frameDone(std::uint64_t epoch);
  void forgetPendingSends();
  bool isCurrent(const Connection& connection) const;
  template <typename... Arguments>
  auto reportOf(const Connection& connection, void (WiFiSender::*handler)(const Connection&, Arguments...));
  template <typename... Arguments>
  void notify(const std::function<void(Arguments...)> WiFiSender::*callback, Arguments... arguments);

  const Surroundings surroundings_;

  // Guarded by stateLock_, which is never held across a call into the network.
  std::shared_ptr<WiFiBrowser> browser_;
  std::shared_ptr<WiFiConnection> connection_;
  bool isConnecting_ = false;
  mutable std::mutex stateLock_;

  bool isStarted_ = false;                 // main queue
  std::shared_ptr<Timer> heartbeatTimer_;  // main queue
  int pendingPongs_ = 0;                   // the sender's queue
  std::atomic<double> lastDataReceived_ = 0;

  // Guarded by pendingSendsLock_.
  int pendingSends_ = 0;
  std::int64_t droppedFrames_ = 0;
  bool hasRefusedFrame_ = false;  // since there was room last
  std::uint64_t sendsEpoch_ = 0;  // a send that completes in a later epoch doesn't count any more
  std::mutex pendingSendsLock_;
};

}  // namespace tandemview
