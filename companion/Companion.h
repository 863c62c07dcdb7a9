#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "companion/FrameChecker.h"
#include "companion/FrameSaver.h"
#include "companion/FrameWindow.h"
#include "companion/LinkStatus.h"
#include "companion/Listener.h"
#include "companion/MuxDaemon.h"
#include "companion/Phone.h"
#include "companion/Script.h"
#include "companion/Statistics.h"
#include "companion/WiFiAnnouncement.h"
#include "runtime/SerialQueue.h"
#include "runtime/Timer.h"

namespace tandemview {

/// One run of the companion, joined from its parts. Lives on the queue that it is given, and longer than that runs.
class Companion final : public PhoneDelegate {
 public:
  struct Options {
    // The ways to the host: either of the first two, and the third beside or without them.
    std::optional<std::string> muxPath;       // play the daemon there
    std::optional<std::uint16_t> listenPort;  // listen on this TCP port
    std::optional<std::string> wifiCode;      // the host's pairing code
    MacProtocol::DeviceInfo info{1290, 2796, 3, "medium", "Portrait", "phone"};
    std::uint16_t port = 2345;  // the phone's, behind the daemon
    std::uint32_t deviceID = 3;
    bool fullResolution = false;          // the host's setting, which decides the size of its frames
    double pingInterval = 1;              // seconds
    std::optional<std::uint64_t> frames;  // end after so many
    std::optional<double> seconds;        // end after so long
    std::string saveDirectory;            // empty: save nothing
    std::uint64_t saveEvery = 1;
    std::string jsonPath;  // empty: no summary for programs; "-": standard output
    bool window = false;
    bool fullScreen = false;      // the window
    bool sizeOfWindow = false;    // the phone's screen is what makes frames of the window's size
    std::vector<ScriptAction> script;
  };

  Companion(std::shared_ptr<SerialQueue> queue, Options options);
  ~Companion() override;

  /// An error, told in a printed line, makes this false.
  bool start();

  /// Stops the queue.
  void end(const std::string& reason);

  /// Sums the run up once the queue has stopped. True if it received what was asked for and met no fault.
  bool finish();

 private:
  void phoneDidConnect(const Phone& phone) override;
  void phoneDidDisconnect(const std::string& reason) override;
  void phoneDidMeetHost(const std::string& macInfo) override;
  void phoneDidReceiveFrame(const Phone& phone, const Data& payload, double now) override;
  void phoneDidReceivePong(double roundTripSeconds) override;
  void phoneDidSeeFault(const std::string& fault) override;

  bool openWindow();
  bool startDaemon();
  bool startListening();
  bool startWiFi();
  bool acceptFrom(Descriptor socket, std::shared_ptr<Listener>& listener,
                  std::function<void(std::shared_ptr<Stream>)> accept);
  void scheduleScript(std::size_t next);
  void perform(const ScriptAction& action);
  void perform(const ScriptAction& action, Phone& phone);
  FrameChecker& checkerOf(const Phone& phone) { return &phone == wifiPhone_.get() ? wifiChecker_ : checker_; }
  void linkDidChange(const std::string& reason);
  void turn();
  void windowDidSettle(FrameSize size);
  void describeStatistics();
  void changeInfo(const MacProtocol::DeviceInfo& info);
  void attach(std::uint32_t deviceID);
  void detach(std::optional<std::uint32_t> deviceID);
  void keep(const Data& payload, const CheckedFrame& frame);
  std::optional<std::string> shortcoming() const;
  bool printSummary() const;

  std::shared_ptr<SerialQueue> queue_;
  const Options options_;
  SystemMediaClock clock_;
  const double startTime_;

  FrameChecker checker_;
  FrameChecker wifiChecker_;  // each link brings every frame
  Statistics statistics_;
  std::optional<FrameSaver> saver_;
  std::unique_ptr<FrameWindow> window_;
  std::shared_ptr<Timer> statisticsTimer_;  // while there is a window
  FrameSize shownSize_;
  LinkStatus linkStatus_;

  // One per way; they are alike, and whoever is connected takes part in what happens.
  std::shared_ptr<Phone> phone_;
  std::shared_ptr<Phone> wifiPhone_;
  std::shared_ptr<MuxDaemon> daemon_;
  std::shared_ptr<Listener> listener_;
  std::shared_ptr<Listener> wifiListener_;
  std::shared_ptr<WiFiAnnouncement> announcement_;
  std::vector<std::uint32_t> attachedDevices_;  // in the order of their attachment
  std::int64_t connectedDevice_ = -1;
  std::uint32_t refusal_ = MuxResult::success;
};

}  // namespace tandemview
