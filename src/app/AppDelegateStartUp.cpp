#include "app/AppDelegate.h"
#include "app/WorkspaceNotifications.h"
#include "runtime/Log.h"
#include "runtime/Weakly.h"

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
  buildStatusMenu();
  if (!offersVirtualDisplays()) return showUnsupportedPlatform();
  Log::line("🚀 Mac Screen Sender Starting...");
  virtualDisplayManager_ = std::make_shared<VirtualDisplayManager>(
      virtualDisplayName, VirtualDisplayManager::Surroundings{.displays = surroundings_.displays,
                                                              .screens = surroundings_.screens,
                                                              .mainQueue = surroundings_.mainQueue,
                                                              .displayQueue = surroundings_.displayQueue});
  virtualDisplayManager_->onConfiguredInPlace = weakly(this, &AppDelegate::displayConfigured);
  createInjectors();
  observeDisplays();
  startUSB();
  startWiFi();
  observePower();
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
    self.menu_->showUnsupported(texts.unsupportedStatus);
    self.surroundings_.alerts->show({.style = AlertStyle::Warning,
                                     .message = texts.unsupportedMessage,
                                     .informativeText = texts.unsupportedExplanation,
                                     .buttons = {"OK"}},
                                    [](int) {});
  });
}

/// The display's real bounds come with the session.
void AppDelegate::createInjectors() {
  const auto& events = surroundings_.events;
  if (!events) return;
  constexpr ScreenRectangle expectedBounds = {0, 0, 1290, 2796};
  touchInjector_ = std::make_unique<TouchInjector>(
      expectedBounds,
      TouchInjector::Surroundings{.events = events, .screens = surroundings_.screens, .clock = surroundings_.clock});
  keyboardInjector_ = std::make_unique<KeyboardInjector>(events->makeEventSource(), events);
}

void AppDelegate::observeDisplays() {
  surroundings_.displays->onArrangementChange(surroundings_.mainQueue, weakly(this, &AppDelegate::displaysChanged));
}

/// Somebody may have moved the display in the desktop's settings: touches go where it is. Or the screen has been
/// unlocked.
void AppDelegate::displaysChanged() {
  if (capture_ && touchInjector_) touchInjector_->followDisplay();
  if (waitsForUnlocking_ && !virtualDisplayManager_->isWithheld()) recover();
}

void AppDelegate::observePower() {
  const auto observe = [this](const char* name, void (AppDelegate::*handler)()) {
    surroundings_.notificationCenter->addObserver(
        name, surroundings_.application.get(),
        weakly(this, [handler](AppDelegate& self, const std::any&) { (self.*handler)(); }));
  };
  observe(workspaceWillSleepNotification, &AppDelegate::handleSleep);
  observe(workspaceDidWakeNotification, &AppDelegate::handleWake);
}

void AppDelegate::onMain(std::function<void(AppDelegate&)> work) {
  surroundings_.mainQueue->async(weakly(this, std::move(work)));
}

void AppDelegate::continueAfter(double seconds, std::function<void(AppDelegate&)> work) {
  onMainAfter(seconds, [configuration = configuration_, work = std::move(work)](AppDelegate& self) {
    if (self.configuration_ == configuration) work(self);
  });
}

void AppDelegate::onMainAfter(double seconds, std::function<void(AppDelegate&)> work) {
  surroundings_.mainQueue->after(seconds, weakly(this, std::move(work)));
}

}  // namespace tandemview
