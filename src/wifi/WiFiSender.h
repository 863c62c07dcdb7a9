#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "protocol/PendingSends.h"
#include "protocol/PhoneCallbacks.h"
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
/// died, sends frames and hands on what the phone says. Called on the main queue, but for what may come from any
/// thread. A sender that is let go of ends its search and its link, on whichever thread that is.
class WiFiSender final : public PhoneCallbacks, public std::enable_shared_from_this<WiFiSender> {
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

  /// Several hosts announce our pairing code, and no connection is made to any of them. Once in the sender's life, so
  /// that nobody on the network can bring up one alert after the other.
  std::function<void()> onCodeContested;

  /// Ends what there is and looks for the phone anew.
  void start();
  void stop();

  /// Sends one video frame, or drops it when no link stands or three frames are on their way already. The number of the
  /// link that has taken it; no two links of a sender have the same. From any thread; never blocks.
  std::optional<std::uint64_t> sendFrame(const Data& data);

  /// Of the link that stands. From any thread.
  std::optional<std::uint64_t> linkNumber() const;

  /// The link to the phone, also while it is being made. From any thread.
  std::shared_ptr<WiFiConnection> connection() const;

  /// Whether a link stands: the phone has been greeted and has not gone. From any thread.
  bool isLive() const;

 private:
  struct Link {
    explicit Link(std::shared_ptr<WiFiConnection> made) : connection(std::move(made)) {}

    const std::shared_ptr<WiFiConnection> connection;
    std::atomic<bool> isLive = false;
    int waitingMessages = 0;                    // for the main queue; on the sender's queue
    std::atomic<bool> isReceivingHeld = false;  // until the main queue has caught up
  };
  using LinkPointer = std::shared_ptr<Link>;

  // Discovery, in WiFiSenderDiscovery.cpp.
  void startBrowserAfter(double delay);
  void startBrowser();
  void restartBrowser();
  void cancelBrowser();
  void browserFailed(const std::weak_ptr<WiFiBrowser>& browser, const Error& error);
  void resultsChanged(const std::weak_ptr<WiFiBrowser>& browser, const std::vector<WiFiBrowseResult>& results);
  std::optional<std::string> expectedName() const;
  void examineResults(const std::weak_ptr<WiFiBrowser>& browser);
  void hostsFound(const std::weak_ptr<WiFiBrowser>& browser, const std::shared_ptr<const WiFiEndpoint>& phone,
                  std::size_t ourCount, const std::vector<WiFiBrowser::HostNames>& hosts);
  void refuse(const std::weak_ptr<WiFiBrowser>& browser, const std::string& line);

  // The link, in WiFiSenderLink.cpp. Reports come with the link that they are about, which may be an earlier one or
  // gone.
  LinkPointer link() const;
  void connect(const std::shared_ptr<const WiFiEndpoint>& endpoint);
  void cancelConnection();
  void connectionReady(const LinkPointer& link);
  void connectionFailed(const LinkPointer& link, Error error);
  void connectionCancelled(const LinkPointer& link);
  void announceConnected(const LinkPointer& link);
  void receiveHeader(const LinkPointer& link);
  void receivedHeader(const LinkPointer& link, WiFiConnection::Received received);
  void receivedBody(const LinkPointer& link, WiFiConnection::Received received);
  void streamEnded(const LinkPointer& link);
  void handleMessage(const LinkPointer& link, const Data& message);
  void messageTaken(const LinkPointer& link);
  void answerPing(const LinkPointer& link, const Data& ping);
  void startHeartbeat(const LinkPointer& link);
  void stopHeartbeat();
  void checkHeartbeat();
  void dropStaleLink(const LinkPointer& link);
  void frameDone(std::uint64_t link);
  void forgetPendingSends();
  bool isCurrent(const LinkPointer& link) const;
  template <typename... Arguments>
  auto reportOf(const LinkPointer& link, void (WiFiSender::*handler)(const LinkPointer&, Arguments...));
  template <typename... Arguments>
  void notify(const std::function<void(Arguments...)> PhoneCallbacks::*callback, Arguments... arguments);
  template <typename Message>
  void handOver(const LinkPointer& link, const std::function<void(Message)> PhoneCallbacks::*callback, Message message);

  const Surroundings surroundings_;

  // Guarded by stateLock_, which is never held across a call into the network.
  std::shared_ptr<WiFiBrowser> browser_;
  LinkPointer link_;
  bool isConnecting_ = false;  // also while it is found out who announces our code
  mutable std::mutex stateLock_;

  bool isStarted_ = false;                 // main queue
  std::atomic<std::uint64_t> run_ = 0;     // counts the starts and stops: a delayed step belongs to its own run
  std::shared_ptr<Timer> heartbeatTimer_;  // main queue
  std::atomic<double> lastDataReceived_ = 0;

  // The sender's queue.
  int pendingPongs_ = 0;
  std::vector<WiFiBrowseResult> results_;  // the last report of the browser in use
  std::uint64_t examination_ = 0;          // counts the questions who announces our code
  std::string refusal_;                    // why the last answer was refused
  bool hasToldOfContest_ = false;

  // Guarded by pendingSendsLock_.
  PendingSends pendingSends_;
  std::int64_t droppedFrames_ = 0;
  mutable std::mutex pendingSendsLock_;
};

}  // namespace tandemview
