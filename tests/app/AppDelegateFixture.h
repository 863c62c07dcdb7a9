#pragma once

#include "app/AppDelegate.h"
#include "app/PmsetLidSleep.h"
#include "fakes/LogRecorder.h"
#include "fakes/MemoryUserDefaults.h"
#include "fakes/RecordingApplicationSystem.h"
#include "fakes/RecordingCaptureSystem.h"
#include "fakes/RecordingDisplaySystem.h"
#include "fakes/RecordingEventSystem.h"
#include "fakes/RecordingStatusItemSystem.h"
#include "fakes/RecordingWiFiNetwork.h"
#include "fakes/ScriptedSystemSettings.h"
#include "platform/macos/MacTexts.h"
#include "protocol/MessageType.h"
#include "support/PhoneStandIn.h"

namespace tandemview {

class QualityImageEncoder final : public ImageEncoder {
 public:
  /// Counts the pictures that it encodes in `count`.
  explicit QualityImageEncoder(int& count) : count_(count) {}

  bool isAccelerated() const override { return false; }
  std::optional<Data> jpegRepresentation(const std::shared_ptr<PixelBuffer>&, double quality) override {
    ++count_;
    isBetterAtRest_ = quality < 0.6;
    return Data::copying(std::to_string(quality).substr(0, 4));
  }
  std::optional<Data> restingRepresentation() override {
    if (!std::exchange(isBetterAtRest_, false)) return std::nullopt;
    ++count_;
    return Data::copying("rest");
  }

 private:
  bool isBetterAtRest_ = false;
  int& count_;
};

/// The whole program on fakes, with one phone that can be plugged in or found.
class AppDelegateFixture : public testing::Test {
 protected:
  /// `separate`: where the network reports and displays are made; without it, all that happens on the main queue. A
  /// bare host has neither input nor Wi-Fi.
  explicit AppDelegateFixture(std::shared_ptr<ManualQueue> separate = nullptr, bool isBare = false)
      : workQueue(separate ? std::move(separate) : queue), isBareHost(isBare) {
    defaults->setString("WiFiPairingCode", "47");
    defaults->setDate("WiFiPairingCodeTimestamp", 1'700'000'000);
  }
  ~AppDelegateFixture() override {
    delegate->applicationWillTerminate();
    workQueue->drain();  // what waits there holds what holds the queue
    queue->drain();
  }

  void launch() {
    delegate->applicationDidFinishLaunching();
    queue->drain();
  }
  void connect() {
    phone->daemon->attach(7);
    queue->drain();
  }
  void sendInfo(int width, int height, const std::string& more = "") {
    phone->send(MessageType::deviceInfo, "{\"width\":" + std::to_string(width) +
                                             ",\"height\":" + std::to_string(height) + ",\"scale\":3" + more + "}");
    queue->drain();
    const auto bounds = displays->bounds(RecordingDisplaySystem::virtualID);
    captures->content =
        std::vector<CapturableDisplay>{{RecordingDisplaySystem::virtualID, static_cast<std::int64_t>(bounds.width),
                                        static_cast<std::int64_t>(bounds.height)}};
  }
  void choose(const std::string& title) {
    menu->choose(title);
    queue->drain();
  }
  /// A phone in portrait comes to the cable.
  void plugIn() {
    connect();
    sendInfo(1290, 2796);
  }
  void unplug() {
    phone->daemon->detach(7);
    queue->drain();
  }
  void streamByCable() {
    plugIn();
    queue->advance(3.1);
  }
  void stream() {
    launch();
    streamByCable();
    log.take();
    application->calls.clear();
  }
  /// The system ends the capture; the lines about that are taken.
  void endStream(std::int64_t code, const char* domain = streamErrorDomain) {
    captures->streams.back()->end({.domain = domain, .code = code});
    queue->drain();
    log.take();
  }
  void deliverFrames(int count, double interval) {
    for (; count > 0; --count) {
      queue->advance(interval);
      deliverFrame();
    }
  }
  void deliverFrame() {
    captures->streams.back()->deliver(SampleType::Screen, std::make_shared<BlankPixelBuffer>());
    queue->drain();
  }
  /// The phone is found over Wi-Fi, as the code of this run says; the link is being made.
  void attemptWiFi() {
    queue->advance(0.4);
    network->browsers().back()->find({"ScrRcv-47"});
    workQueue->advance(0.3);
  }
  void connectWiFi() {
    attemptWiFi();
    network->connections().back()->becomeReady();
    workQueue->drain();
    queue->advance(0.6);
  }
  void sayOverWiFi(const std::string& message) {
    network->connections().back()->deliver(std::string(3, '\0') + static_cast<char>(message.size()) + message);
    workQueue->drain();
  }
  void loseWiFi() {
    network->connections().back()->fail(posixError(ECONNRESET));
    queue->drain();
  }
  bool isStreaming() const { return !captures->calls.empty() && captures->calls.back().starts_with("start"); }

  LogRecorder log;
  std::shared_ptr<ManualQueue> queue = ManualQueue::make();
  std::shared_ptr<ManualQueue> workQueue;
  const bool isBareHost;
  std::shared_ptr<PhoneStandIn> phone = PhoneStandIn::on(queue);
  std::shared_ptr<RecordingDisplaySystem> displays = std::make_shared<RecordingDisplaySystem>();
  int encodedPictures = 0;
  std::function<void()> atStreamStart;
  std::shared_ptr<RecordingCaptureSystem> captures = std::make_shared<RecordingCaptureSystem>(queue);
  std::shared_ptr<RecordingApplicationSystem> application = std::make_shared<RecordingApplicationSystem>(queue);
  std::shared_ptr<MemoryUserDefaults> defaults = std::make_shared<MemoryUserDefaults>();
  std::shared_ptr<RecordingStatusItemSystem> menu = std::make_shared<RecordingStatusItemSystem>();
  std::shared_ptr<ScriptedSystemSettings> settings = std::make_shared<ScriptedSystemSettings>();
  std::string pasteboard;
  std::shared_ptr<RecordingEventSystem> events = std::make_shared<RecordingEventSystem>();
  std::shared_ptr<RecordingWiFiNetwork> network = std::make_shared<RecordingWiFiNetwork>();
  std::shared_ptr<AppDelegate> delegate = std::make_shared<AppDelegate>(AppDelegate::Surroundings{
      .mainQueue = queue,
      .backgroundQueue = queue,
      .displayQueue = workQueue,
      .sampleQueue = queue,
      .wifiQueue = workQueue,
      .clock = std::make_shared<ManualClock>(queue),
      .wallClock = std::make_shared<ManualWallClock>(queue),
      .randomBits = [] { return 0u; },
      .notificationCenter = phone->center,
      .program = {.name = "Tandemview"},
      .texts = macTexts(),
      .application = application,
      .alerts = application,
      .statusItems = menu,
      .lidSleep = std::make_shared<PmsetLidSleep>(application),
      .loginItem = settings,
      .permissions = settings,
      .permissionReset = PermissionReset{.bundleIdentifier = std::nullopt,
                                         .copyToPasteboard = [this](const std::string& text) { pasteboard = text; }},
      .resources = settings,
      .userDefaults = defaults,
      .screens = displays,
      .displays = displays,
      .captures = captures,
      .makeImageEncoder =
          [this] {
            if (atStreamStart) atStreamStart();
            return std::make_unique<QualityImageEncoder>(encodedPictures);
          },
      .sharedHub = [this] { return phone->hub; },
      .events = isBareHost ? nullptr : events,
      .wifiNetwork = isBareHost ? nullptr : network});
};

}  // namespace tandemview
