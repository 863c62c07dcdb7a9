#include "app/AppDelegate.h"
#include "app/RelaunchScript.h"
#include "runtime/FloatingPointText.h"
#include "runtime/Log.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

constexpr double relaunchDelay = 0.5;  // until the companion app has seen the links end
constexpr double terminateDelay = 0.5;
constexpr double fallbackDelay = 0.3;

}  // namespace

void AppDelegate::changeDisplay(const DisplayPlan& plan, const std::string& orientation) {
  Log::line(rule);
  Log::print("🔄 DISPLAY CHANGE → {}x{} ({}, {}, zoom {})", plan.width, plan.height, rawValue(plan.deviceClass),
             orientation, floatingPointText(plan.zoomScale));
  Log::line(rule);
  dropCapture();
  const std::int64_t envelope = virtualDisplayManager_->envelope();
  if (!virtualDisplayManager_->displayID() || envelope < plan.width || envelope < plan.height ||
      !virtualDisplayManager_->resizeInPlace(plan.width, plan.height)) {
    return relaunch();
  }
  displayedPlan_ = plan;
  streamWidth_ = plan.width;
  streamHeight_ = plan.height;
  followResize(plan, [](AppDelegate& self, DisplayResize::Outcome outcome) {
    if (outcome == DisplayResize::Outcome::Shown) return self.streamDisplay();
    if (!self.waitForUnlocking()) return self.relaunch();
    self.finishConfiguring();
  });
  resize_->insist();
}

void AppDelegate::followResize(const DisplayPlan& plan,
                               std::function<void(AppDelegate&, DisplayResize::Outcome)> next) {
  resize_ = std::make_shared<DisplayResize>(surroundings_.mainQueue, virtualDisplayManager_,
                                            VirtualDisplayManager::Size{plan.width, plan.height},
                                            weakly(this, std::move(next)));
}

/// The display can't take the new size: a new process starts from scratch, with the same settings and arguments.
void AppDelegate::relaunch() {
  Log::line("♻️  Display can't be resized in place - restarting app to apply the new size...");
  discard();
  onMainAfter(relaunchDelay, [](AppDelegate& self) { self.relaunchByScript(); });
}

void AppDelegate::relaunchByScript() {
  ApplicationSystem& application = *surroundings_.application;
  Log::line("♻️ Relaunching app...");
  Log::print("📁 Bundle path: {}", application.bundlePath());
  const auto started = startRelaunchScript(application);
  if (!started) return relaunchWithoutScript(started.error());
  Log::print("✅ Relaunch script started (PID: {})", *started);
  onMainAfter(terminateDelay, [](AppDelegate& self) {
    Log::line("👋 Terminating for orientation change...");
    self.quit();
  });
}

void AppDelegate::relaunchWithoutScript(const Error& error) {
  Log::print("❌ Failed to create relaunch script: {}", error.localizedDescription());
  onMainAfter(fallbackDelay, [](AppDelegate& self) {
    ApplicationSystem& application = *self.surroundings_.application;
    application.openApplication(application.bundlePath(), [](const std::optional<Error>& failure) {
      if (failure) Log::print("❌ Fallback launch failed: {}", failure->localizedDescription());
    });
    self.onMainAfter(terminateDelay, &AppDelegate::quit);
  });
}

}  // namespace tandemview
