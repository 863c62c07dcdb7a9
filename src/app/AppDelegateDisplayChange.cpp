#include <fmt/format.h>

#include "app/AppDelegate.h"
#include "runtime/FloatingPointText.h"
#include "runtime/Log.h"
#include "runtime/Truncation.h"

namespace tandemview {

namespace {

constexpr double pollInterval = 0.1;
/// Lets the arrangement of the screens settle after a move.
constexpr double moveDelay = 0.3;

constexpr double relaunchDelay = 0.5;  // until the companion app has seen the links end
constexpr double terminateDelay = 0.5;
constexpr double fallbackDelay = 0.3;

}  // namespace

/// Bounds are in points and the plan in pixels: true only for a display shown at 1:1.
bool AppDelegate::displayHasSize(DisplayID display, std::int64_t width, std::int64_t height) const {
  const DisplayRectangle bounds = surroundings_.displays->bounds(display);
  if (truncated(bounds.width) != width || truncated(bounds.height) != height) return false;
  return virtualDisplayManager_->currentModeSize() == VirtualDisplayManager::Size{width, height};
}

void AppDelegate::changeDisplay(const DisplayPlan& plan, const std::string& orientation) {
  Log::line(rule);
  Log::print("🔄 DISPLAY CHANGE → {}x{} ({}, {}, zoom {})", plan.width, plan.height, rawValue(plan.deviceClass),
             orientation, floatingPointText(plan.zoomScale));
  Log::line(rule);
  dropCapture();
  const auto display = virtualDisplayManager_->displayID();
  if (!display || virtualDisplayManager_->envelope() < plan.width || virtualDisplayManager_->envelope() < plan.height ||
      !virtualDisplayManager_->resizeInPlace(plan.width, plan.height)) {
    return relaunch();
  }
  displayedPlan_ = plan;
  streamWidth_ = plan.width;
  streamHeight_ = plan.height;
  if (displayHasSize(*display, plan.width, plan.height)) {
    return displayReachedSize(*display, [display](AppDelegate& self) { self.displayIsChanged(*display); });
  }
  continueAfter(pollInterval, [display, plan](AppDelegate& self) { self.reapply(*display, sizeAttempts, plan); });
}

/// The system shows the new size: moves the display off other screens, waits if it had to, goes on with `next`.
void AppDelegate::displayReachedSize(DisplayID display, std::function<void(AppDelegate&)> next) {
  const DisplayRectangle bounds = surroundings_.displays->bounds(display);
  Log::print("📺 Display now {}x{} pt", truncated(bounds.width), truncated(bounds.height));
  if (virtualDisplayManager_->fixOverlap()) return continueAfter(moveDelay, std::move(next));
  next(*this);
}

void AppDelegate::reapply(DisplayID display, int attempts, const DisplayPlan& plan) {
  if (attempts == 0) return relaunch();
  if (!virtualDisplayManager_->selectMode(plan.width, plan.height) &&
      !virtualDisplayManager_->resizeInPlace(plan.width, plan.height)) {
    return relaunch();
  }
  Log::print("📺 Re-applying {}x{}", plan.width, plan.height);
  if (displayHasSize(display, plan.width, plan.height)) {
    return displayReachedSize(display, [display](AppDelegate& self) { self.displayIsChanged(display); });
  }
  continueAfter(pollInterval,
                [display, attempts, plan](AppDelegate& self) { self.reapply(display, attempts - 1, plan); });
}

void AppDelegate::displayIsChanged(DisplayID display) {
  if (touchInjector_) touchInjector_->setDisplay(display);
  startStreaming();
}

void AppDelegate::waitForSize(DisplayID display, std::int64_t width, std::int64_t height, int attempts,
                              std::function<void(AppDelegate&)> next) {
  if (displayHasSize(display, width, height)) return displayReachedSize(display, std::move(next));
  if (attempts == 0) {
    const DisplayRectangle bounds = surroundings_.displays->bounds(display);
    const auto modeSize = virtualDisplayManager_->currentModeSize().value_or(VirtualDisplayManager::Size());
    Log::print("⚠️ Display still {}x{} pt (mode {}x{}), wanted {}x{}", truncated(bounds.width),
               truncated(bounds.height), modeSize.width, modeSize.height, width, height);
    return next(*this);
  }
  continueAfter(pollInterval, [display, width, height, attempts, next = std::move(next)](AppDelegate& self) {
    self.waitForSize(display, width, height, attempts - 1, next);
  });
}

/// The display can't take the new size: a new process starts from scratch, with the same settings and arguments.
void AppDelegate::relaunch() {
  Log::line("♻️  Display can't be resized in place - restarting app to apply the new size...");
  discard();
  onMainAfter(relaunchDelay, [](AppDelegate& self) { self.writeAndStartRelaunchScript(); });
}

void AppDelegate::writeAndStartRelaunchScript() {
  ApplicationSystem& application = *surroundings_.application;
  Log::line("♻️ Relaunching app...");
  Log::print("📁 Bundle path: {}", application.bundlePath());
  // The pause lets this process end before the new one looks for running copies.
  const std::string script = fmt::format("#!/bin/bash\nsleep 1.5\n{}", application.relaunchCommand());
  const std::string path = fmt::format("/tmp/tandemview_relaunch_{}.sh", application.processIdentifier());
  if (const auto error = application.writeFile(path, script)) return relaunchWithoutScript(*error);
  if (const auto status = application.run("/bin/chmod", {"+x", path}); !status) {
    return relaunchWithoutScript(status.error());
  }
  const auto started = application.start("/usr/bin/nohup", {"/bin/bash", path});
  if (!started) return relaunchWithoutScript(started.error());
  Log::print("✅ Relaunch script started (PID: {})", *started);
  onMainAfter(terminateDelay, [](AppDelegate& self) {
    Log::line("👋 Terminating for orientation change...");
    self.surroundings_.application->terminate();
  });
}

void AppDelegate::relaunchWithoutScript(const Error& error) {
  Log::print("❌ Failed to create relaunch script: {}", error.localizedDescription());
  onMainAfter(fallbackDelay, [](AppDelegate& self) {
    ApplicationSystem& application = *self.surroundings_.application;
    application.openApplication(application.bundlePath(), [](const std::optional<Error>& failure) {
      if (failure) Log::print("❌ Fallback launch failed: {}", failure->localizedDescription());
    });
    self.onMainAfter(terminateDelay, [](AppDelegate& delegate) { delegate.surroundings_.application->terminate(); });
  });
}

}  // namespace tandemview
