#include <algorithm>

#include "app/AppDelegate.h"
#include "runtime/FloatingPointText.h"
#include "runtime/Log.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

/// Every virtual display may grow to at least this many pixels each way, so that a rotation is done in place.
constexpr std::int64_t smallestEnvelope = 2880;

/// No phone's screen has longer sides.
constexpr std::int64_t longestSide = 16384;

constexpr double displaySettleDelay = 2.0;
constexpr double streamStartDelay = 1.0;
constexpr double wakeDelay = 2.0;

bool isPossibleScreen(const MacProtocol::DeviceInfo& info) {
  const auto [shorter, longer] = std::minmax(info.width, info.height);
  return shorter >= 1 && longer <= longestSide;
}

const char* sizeName(StreamQuality quality) {
  return quality == StreamQuality::fullResolution ? "fullSize" : "standard";
}

}  // namespace

void AppDelegate::handleDeviceInfo(DeviceInfo info) {
  if (!isPossibleScreen(info)) {
    Log::print("⚠️ Ignoring a device with an impossible screen: {}x{}", info.width, info.height);
    return;
  }
  {
    const std::lock_guard lock(configurationLock_);
    if (isConfiguring_) {
      Log::print("⏳ Already configuring - will apply {}x{} next", info.width, info.height);
      pendingDeviceInfo_ = std::move(info);
      return;
    }
    isConfiguring_ = true;
    pendingDeviceInfo_.reset();  // an older one
  }
  ++configuration_;
  resize_ = nullptr;
  waitsForUnlocking_ = false;
  isStoppedByUser_ = false;
  lastDeviceInfo_ = info;
  const DisplayPlan plan = planFor(info);
  if (displayedPlan_ && virtualDisplayManager_->displayID()) {
    if (plan != *displayedPlan_) return changeDisplay(plan, info.orientation);
    if (capture_) {
      Log::print("📺 Display already {}x{} - keep streaming", plan.width, plan.height);
      distributor_->phoneLooks();
      return finishConfiguring();
    }
  }
  onMain([](AppDelegate& self) { self.dropCapture(); });
  configureDisplay(plan, info);
}

AppDelegate::DisplayPlan AppDelegate::planFor(const DeviceInfo& info) const {
  return makeDisplayPlan(info.width, info.height, info.idiom, qualityMode_ == StreamQuality::fullResolution);
}

bool AppDelegate::isConfiguring() {
  const std::lock_guard lock(configurationLock_);
  return isConfiguring_;
}

/// The last description that any phone has sent.
std::optional<AppDelegate::DeviceInfo> AppDelegate::newestDeviceInfo() {
  const std::lock_guard lock(configurationLock_);
  return pendingDeviceInfo_ ? pendingDeviceInfo_ : lastDeviceInfo_;
}

/// The description that has been waiting stays there until its turn comes, so that one that arrives before replaces it.
void AppDelegate::finishConfiguring() {
  {
    const std::lock_guard lock(configurationLock_);
    isConfiguring_ = false;
  }
  onMain([](AppDelegate& self) {
    std::optional<DeviceInfo> next;
    {
      const std::lock_guard lock(self.configurationLock_);
      if (!self.isConfiguring_) next = std::exchange(self.pendingDeviceInfo_, std::nullopt);
    }
    if (next) self.handleDeviceInfo(*next);
  });
}

void AppDelegate::configureDisplay(const DisplayPlan& plan, const DeviceInfo& info) {
  const auto width = static_cast<double>(info.width);
  const auto height = static_cast<double>(info.height);
  Log::print("📱 Device: {} (aspect ratio: {:.2f}, idiom: {})", rawValue(plan.deviceClass),
             std::min(width, height) / std::max(width, height), info.idiom.value_or("unknown"));
  Log::line(rule);
  streamWidth_ = plan.width;
  streamHeight_ = plan.height;
  Log::print("📱 iPhone native: {} x {} (aspect: {:.2f})", info.width, info.height, width / height);
  Log::print("🔄 Orientation: {}", info.orientation);
  Log::print("🔍 Zoom: {:.1f}x (scale: {}, size: {})", width / static_cast<double>(plan.width),
             floatingPointText(info.scale), sizeName(qualityMode_));
  Log::print("📺 Display size: {} x {}", plan.width, plan.height);
  Log::line(rule);
  virtualDisplayManager_->configureDisplay(
      plan.width, plan.height, std::max({plan.width, plan.height, smallestEnvelope}), plan,
      weakly(this, [plan, configuration = configuration_](AppDelegate& self, bool success) {
        if (self.configuration_ != configuration) return;
        if (success) return self.displayConfigured(plan);
        Log::line("⚠️ Virtual display may have failed - trying anyway...");
        self.checkDisplayLater(plan);
      }));
}

void AppDelegate::displayConfigured(const DisplayPlan& plan) {
  Log::line("✅ Virtual display configured");
  displayedPlan_ = plan;
  checkDisplayLater(plan);
}

void AppDelegate::checkDisplayLater(const DisplayPlan& plan) {
  continueAfter(displaySettleDelay, [plan](AppDelegate& self) { self.checkDisplay(plan); });
}

void AppDelegate::checkDisplay(const DisplayPlan& plan) {
  const auto display = virtualDisplayManager_->displayID();
  if (!display) {
    if (touchInjector_) {
      touchInjector_->updateBounds({0, 0, static_cast<double>(plan.width), static_cast<double>(plan.height)});
    }
    continueAfter(streamStartDelay, [](AppDelegate& self) { self.startStreaming(); });
    return;
  }
  if (virtualDisplayManager_->isShownAt({plan.width, plan.height})) {
    virtualDisplayManager_->fixOverlap();
    return targetTouch(*display);
  }
  const auto shown = virtualDisplayManager_->shownSize();
  Log::print("📺 Display came up at {}x{} pt - applying {}x{}", shown.width, shown.height, plan.width, plan.height);
  if (!virtualDisplayManager_->resizeInPlace(plan.width, plan.height)) return targetTouch(*display);
  followResize(plan, [display](AppDelegate& self, DisplayResize::Outcome) { self.targetTouch(*display); });
  resize_->wait();
}

void AppDelegate::targetTouch(DisplayID display) {
  if (touchInjector_) touchInjector_->setDisplay(display);
  continueAfter(streamStartDelay, [](AppDelegate& self) { self.startStreaming(); });
}

void AppDelegate::handleSleep() {
  Log::line("😴 Mac going to sleep - stopping capture...");
  dropCapture();
  if (touchInjector_) touchInjector_->releaseHeldButton();
  updateStatusTitle(false);
}

void AppDelegate::handleWake() {
  onMainAfter(wakeDelay, [](AppDelegate& self) {
    if (self.isConfiguring() || self.capture_ || self.streamWidth_ < 1 || !self.hasLink()) return;
    if (self.isStoppedByUser_) return;
    Log::line("☀️ Mac woke up - resuming capture...");
    self.startStreaming();
  });
}

void AppDelegate::reconnect() {
  if (isEnding_) return;
  Log::line("🔄 Manual reconnect triggered...");
  const auto info = newestDeviceInfo();
  if (isStoppedByUser_ && info && hasLink()) handleDeviceInfo(*info);
  if (wifiSender_) wifiSender_->start();
  if (!sender_) return;
  sender_->retryConnection();
  sender_->startRetryTimer();
}

void AppDelegate::selectQuality(const MenuItem& item) {
  const auto mode = streamQualityFromRawValue(item.representedObject);
  if (!mode || *mode == qualityMode_) return;
  const bool changesSize = (*mode == StreamQuality::fullResolution) != (qualityMode_ == StreamQuality::fullResolution);
  qualityMode_ = *mode;
  surroundings_.userDefaults->setString(qualityModeKey, item.representedObject);
  menu_->showQuality(qualityMode_);
  if (encoder_) {
    encoder_->jpegQuality = jpegQualityFor(qualityMode_, hasWiFiLink());
    Log::print("🎚️ Quality changed to {} (JPEG {})", rawValue(qualityMode_),
               floatingPointText(encoder_->jpegQuality));
  }
  const auto info = newestDeviceInfo();
  if (!changesSize || !info || !hasLink()) return;
  Log::print("🔍 Display size changed to {}", sizeName(qualityMode_));
  handleDeviceInfo(*info);
}

void AppDelegate::discard() {
  isEnding_ = true;
  if (capture_) capture_->stop();
  if (touchInjector_) touchInjector_->releaseHeldButton();
  if (sender_) sender_->stop();
  if (wifiSender_) wifiSender_->stop();
  if (!virtualDisplayManager_) return;
  virtualDisplayManager_->destroyDisplay();
  Log::line("✅ Virtual display discarded");
}

}  // namespace tandemview
