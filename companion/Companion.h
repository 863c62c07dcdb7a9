#pragma once

#include <cstdint>
#include <fstream>
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
#include "companion/PictureChecker.h"
#include "companion/Reception.h"
#include "companion/Script.h"
#include "companion/ScriptRunner.h"
#include "companion/SocketAddress.h"
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
    std::optional<std::string> muxPath;      // play the daemon there
    std::optional<SocketAddress> listening;  // listen there
    std::optional<std::string> wifiCode;     // the host's pairing code
    MacProtocol::DeviceInfo info{1290, 2796, 3, "medium", "Portrait", "phone"};
    std::uint16_t port = 2345;  // the phone's, behind the daemon
    std::uint32_t deviceID = 3;
    bool fullResolution = false;          // the host's setting, which decides the size of its frames
    double pingInterval = 1;              // seconds, as all that follows
    double pongDeadline = 10;             // a later pong is a fault
    std::optional<double> frameDeadline;  // from a new description of the screen to the first frame that fits it
    std::optional<std::uint64_t> frames;  // end after so many
    std::optional<double> seconds;        // end after so long
    std::string saveDirectory;            // empty: save nothing
    std::uint64_t saveEvery = 1;
    bool trace = false;        // print every message
    std::string frameLogPath;  // empty: no times of each frame
    std::string jsonPath;      // empty: no summary for programs; "-": standard output
    bool window = false;
    bool fullScreen = false;    // the window
    bool sizeOfWindow = false;  // the phone's screen is what makes frames of the window's size
    /// Where a start without options remembers what it asks its user; empty: it asks nothing.
    std::string receptionPath;
    std::vector<ScriptAction> script;
  };

  Companion(std::shared_ptr<SerialQueue> queue, Options options);
  ~Companion() override;

  /// An error, told in a printed line, makes this false.
  bool start();

  /// Hangs up, and stops the queue when the last frame is looked through; a second call stops it at once.
  void end(const std::string& reason);

  /// Sums the run up once the queue has stopped. True if it received what was asked for and met no fault.
  bool finish();

 private:
  void phoneDidConnect(const Phone& phone) override;
  void phoneDidDisconnect(const Phone& phone, const std::string& reason) override;
  void phoneDidMeetHost(const Phone& phone, const std::string& macInfo) override;
  void phoneDidReceiveFrame(const Phone& phone, const Data& payload, double now) override;
  void phoneDidReceivePong(const Phone& phone, double roundTripSeconds) override;
  void phoneDidSeeFault(const Phone& phone, const Fault& fault) override;
  void phoneDidPassMessage(const Phone& phone, Direction direction, std::uint32_t type, std::size_t size) override;

  bool openWindow();
  bool startDaemon();
  bool startListening();
  bool startWiFi(const std::string& code);
  void startReception();
  void announcementDidChange(WiFiAnnouncement::State state, const std::string& text);
  bool acceptFrom(Descriptor socket, std::shared_ptr<Listener>& listener,
                  std::function<void(std::shared_ptr<Stream>, const std::string& host)> accept);
  void perform(const ScriptAction& action);
  void perform(const ScriptAction& action, Phone& phone);
  FrameChecker& checkerOf(const Phone& phone) { return &phone == wifiPhone_.get() ? wifiChecker_ : checker_; }
  void linkDidChange(const std::string& reason);
  void turn();
  void windowDidSettle(FrameSize size);
  void describeStatistics();
  void expectSize(const MacProtocol::DeviceInfo& info);
  void startDeadline(const Phone& phone);
  void changeInfo(const MacProtocol::DeviceInfo& info);
  void attach(std::uint32_t deviceID);
  void detach(std::optional<std::uint32_t> deviceID);
  void keep(const Phone& phone, const Data& image, const CheckedFrame& frame);
  void checkPicture(const Phone& phone, const Data& image, Statistics::Frame frame);
  void log(const Statistics::Frame& frame);
  void lack(const std::string& text);
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
  PictureChecker pictureChecker_{queue_};
  std::uint64_t arrivedFrames_ = 0;
  std::uint64_t uncheckedFrames_ = 0;  // of these, their pictures
  FrameSize shownSize_;
  std::ofstream frameLog_;
  bool fullResolution_;
  LinkStatus linkStatus_;
  std::optional<Reception> reception_;
  ScriptRunner scriptRunner_;

  // One per way; they are alike, and whoever is connected takes part in what happens.
  std::shared_ptr<Phone> phone_;
  std::shared_ptr<Phone> wifiPhone_;
  std::shared_ptr<MuxDaemon> daemon_;
  std::shared_ptr<Listener> listener_;
  std::shared_ptr<Listener> wifiListener_;
  std::shared_ptr<WiFiAnnouncement> announcement_;
  std::vector<std::uint32_t> attachedDevices_;  // in the order of their attachment
  std::uint32_t refusal_ = MuxResult::success;

  bool isAnnounced_ = false;
  bool isEnding_ = false;
  std::string lack_;  // what this run lacks beside faults; empty: nothing
};

}  // namespace tandemview
