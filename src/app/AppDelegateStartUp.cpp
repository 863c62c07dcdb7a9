#include <algorithm>

#include "app/AppDelegate.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

constexpr const char* testHostVariable = "XCTestConfigurationFilePath";

}  // namespace

AppDelegate::AppDelegate(Surroundings surroundings)
    : surroundings_(std::move(surroundings)),
      lastFPSUpdate_(surroundings_.clock->now()),
      lastFrameTime_(surroundings_.clock->now()) {}

void AppDelegate::applicationDidFinishLaunching() {
  if (surroundings_.application->hasEnvironmentVariable(testHostVariable)) return;
  if (anotherCopyRuns()) return surroundings_.application->terminate();

  const UserDefaults& defaults = *surroundings_.userDefaults;
  qualityMode_ = loadQualityMode(defaults.string(qualityModeKey), defaults.string(oldQualityModeKey),
                                 defaults.string(oldDisplaySizeKey));

  if (!offersVirtualDisplays()) return showUnsupportedPlatform();
  Log::line("🚀 Mac Screen Sender Starting...");
  virtualDisplayManager_ = std::make_shared<VirtualDisplayManager>(
      virtualDisplayName, VirtualDisplayManager::Surroundings{.displays = surroundings_.displays,
                                                              .mainQueue = surroundings_.mainQueue,
                                                              .backgroundQueue = surroundings_.backgroundQueue});
  virtualDisplayManager_->onConfiguredInPlace = [weak = weak_from_this()](const DisplayPlan& plan) {
    const auto self = weak.lock();
    if (self) self->displayConfigured(plan);
  };
  startUSB();
}

void AppDelegate::applicationWillTerminate() {
  discard();
}

bool AppDelegate::anotherCopyRuns() {
  const auto copies = surroundings_.application->runningCopies();
  if (copies.size() < 2) return false;
  for (const ProcessIdentifier copy : copies) {
    if (copy != surroundings_.application->processIdentifier()) surroundings_.application->activate(copy);
  }
  return true;
}

bool AppDelegate::offersVirtualDisplays() const {
  return surroundings_.displays->hasDescriptorClass() && surroundings_.displays->hasDisplayClass();
}

void AppDelegate::showUnsupportedPlatform() {
  onMain([](AppDelegate& self) {
    const PlatformTexts& texts = self.surroundings_.texts;
    self.surroundings_.alerts->show({.style = AlertStyle::Warning,
                                     .message = texts.unsupportedMessage,
                                     .informativeText = texts.unsupportedExplanation,
                                     .buttons = {"OK"}},
                                    [](int) {});
  });
}

void AppDelegate::startUSB() {
  sender_ = std::make_shared<USBSender>(usbPort,
                                        USBSender::Surroundings{.mainQueue = surroundings_.mainQueue,
                                                                .notificationCenter = surroundings_.notificationCenter,
                                                                .clock = surroundings_.clock,
                                                                .program = surroundings_.program,
                                                                .sharedHub = surroundings_.sharedHub});
  const auto weak = weak_from_this();
  sender_->onClientConnected = [weak] {
    if (const auto self = weak.lock()) self->usbConnected();
  };
  sender_->onClientDisconnected = [weak] {
    if (const auto self = weak.lock()) self->usbDisconnected();
  };
  sender_->onDeviceInfo = [weak](const DeviceInfo& info) {
    if (const auto self = weak.lock()) self->handleDeviceInfo(info);
  };
  sender_->start();
}

void AppDelegate::usbConnected() {
  if (isUSBConnected_) return;
  isUSBConnected_ = true;
  Log::line("✅ iPhone connected via USB");
}

void AppDelegate::usbDisconnected() {
  if (!isUSBConnected_) return;
  isUSBConnected_ = false;
  Log::line("⚠️ iPhone disconnected (USB)");
  onMain([](AppDelegate& self) { self.tearDownStreaming(); });
}

/// The last link is gone: the display stays, the stream ends.
void AppDelegate::tearDownStreaming() {
  dropCapture();
  currentFPS_ = 0;
  const std::lock_guard lock(configurationLock_);
  isConfiguring_ = false;
  pendingDeviceInfo_.reset();
}

void AppDelegate::onMain(std::function<void(AppDelegate&)> work) {
  surroundings_.mainQueue->async([weak = weak_from_this(), work = std::move(work)] {
    if (const auto self = weak.lock()) work(*self);
  });
}

void AppDelegate::onMainAfter(double seconds, std::function<void(AppDelegate&)> work) {
  surroundings_.mainQueue->after(seconds, [weak = weak_from_this(), work = std::move(work)] {
    if (const auto self = weak.lock()) work(*self);
  });
}

}  // namespace tandemview
