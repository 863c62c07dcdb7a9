#include <algorithm>
#include <limits>

#include "app/AppDelegate.h"
#include "runtime/Assertion.h"
#include "runtime/FloatingPointText.h"
#include "runtime/Log.h"
#include "runtime/Truncation.h"

namespace tandemview {

namespace {

/// Every virtual display may grow to at least this many pixels each way, so that a rotation is done in place.
constexpr std::int64_t smallestEnvelope = 2880;

/// No phone's screen has longer sides.
constexpr std::int64_t longestSide = 16384;

constexpr double displaySettleDelay = 2.0;
constexpr double streamStartDelay = 1.0;
constexpr double touchCheckDelay = 1.5;
constexpr double wakeDelay = 2.0;

bool isPossibleScreen(const MacProtocol::DeviceInfo& info) {
  const auto [shorter, longer] = std::minmax(info.width, info.height);
  return shorter >= 1 && longer <= longestSide;
}

const char* sizeName(StreamQuality quality) {
  return quality == StreamQuality::fullResolution ? "fullSize" : "standard";
}

}  // namespace

void AppDelegate::handleDeviceInfo(const DeviceInfo& info) {
  if (!isPossibleScreen(info)) {
    Log::print("⚠️ Ignoring a device with an impossible screen: {}x{}", info.width, info.height);
    return;
  }
  {
    const std::lock_guard lock(configurationLock_);
    if (isConfiguring_) {
      Log::print("⏳ Already configuring - will apply {}x{} next", info.width, info.height);
      pendingDeviceInfo_ = info;
      return;
    }
    isConfiguring_ = true;
  }
  lastDeviceInfo_ = info;
  const DisplayPlan plan =
      makeDisplayPlan(info.width, info.height, info.idiom, qualityMode_ == StreamQuality::fullResolution);
  if (displayedPlan_ && virtualDisplayManager_ && virtualDisplayManager_->displayID()) {
    if (plan != *displayedPlan_) return changeDisplay(plan, info.orientation);
    if (capture_) {
      Log::print("📺 Display already {}x{} - keep streaming", plan.width, plan.height);
      return finishConfiguring();
    }
  }
  onMain([](AppDelegate& self) { self.dropCapture(); });
  configureDisplay(plan, info);
}

void AppDelegate::finishConfiguring() {
  std::optional<DeviceInfo> next;
  {
    const std::lock_guard lock(configurationLock_);
    isConfiguring_ = false;
    next = std::exchange(pendingDeviceInfo_, std::nullopt);
  }
  if (next) onMain([info = *next](AppDelegate& self) { self.handleDeviceInfo(info); });
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
  if (!virtualDisplayManager_) return;
  virtualDisplayManager_->configureDisplay(plan.width, plan.height,
                                           std::max({plan.width, plan.height, smallestEnvelope}), plan,
                                           [weak = weak_from_this(), plan](bool success) {
                                             const auto self = weak.lock();
                                             if (!self) return;
                                             if (success) return self->displayConfigured(plan);
                                             Log::line("⚠️ Virtual display may have failed - trying anyway...");
                                             self->checkDisplayLater(plan);
                                           });
}

void AppDelegate::displayConfigured(const DisplayPlan& plan) {
  Log::line("✅ Virtual display configured");
  displayedPlan_ = plan;
  checkDisplayLater(plan);
}

void AppDelegate::checkDisplayLater(const DisplayPlan& plan) {
  onMainAfter(displaySettleDelay, [plan](AppDelegate& self) { self.checkDisplay(plan); });
}

void AppDelegate::checkDisplay(const DisplayPlan& plan) {
  const auto display = virtualDisplayManager_ ? virtualDisplayManager_->displayID() : std::nullopt;
  if (!display) {
    if (touchInjector_) {
      touchInjector_->updateBounds({0, 0, static_cast<double>(plan.width), static_cast<double>(plan.height)});
    }
    onMainAfter(streamStartDelay, [](AppDelegate& self) { self.startStreaming(); });
    return;
  }
  if (displayHasSize(*display, plan.width, plan.height)) {
    virtualDisplayManager_->fixOverlap();
    return targetTouch(*display);
  }
  const DisplayRectangle bounds = surroundings_.displays->bounds(*display);
  Log::print("📺 Display came up at {}x{} pt - applying {}x{}", truncated(bounds.width), truncated(bounds.height),
             plan.width, plan.height);
  if (!virtualDisplayManager_->resizeInPlace(plan.width, plan.height)) return targetTouch(*display);
  waitForSize(*display, plan.width, plan.height, sizeAttempts,
              [display](AppDelegate& self) { self.targetTouch(*display); });
}

void AppDelegate::targetTouch(DisplayID display) {
  if (touchInjector_) touchInjector_->setDisplay(display);
  onMainAfter(streamStartDelay, [](AppDelegate& self) { self.startStreaming(); });
}

void AppDelegate::startStreaming() {
  if (!hasUSBLink() && !hasWiFiLink()) {
    Log::line("⚠️ No active connection, skipping stream start");
    return finishConfiguring();
  }
  require(streamWidth_ <= std::numeric_limits<std::int32_t>::max() &&
              streamHeight_ <= std::numeric_limits<std::int32_t>::max(),
          "a stream size that fits 32 bits");
  encoder_ = std::make_shared<MJPEGEncoder>(surroundings_.makeImageEncoder(), surroundings_.clock);
  encoder_->jpegQuality = jpegQualityFor(qualityMode_, hasWiFiLink());
  Log::print("{} — quality mode: {} (JPEG {})", hasWiFiLink() ? "📶 WiFi" : "🔌 USB", rawValue(qualityMode_),
             floatingPointText(encoder_->jpegQuality));
  encoder_->onEncodedData = encodedFrameHandler();

  capture_ = std::make_shared<ScreenCapture>(ScreenCapture::Surroundings{.system = surroundings_.captures,
                                                                         .mainQueue = surroundings_.mainQueue,
                                                                         .sampleQueue = surroundings_.sampleQueue});
  capture_->targetDisplayID = virtualDisplayManager_ ? virtualDisplayManager_->displayID() : std::nullopt;
  capture_->targetDisplayName = virtualDisplayName;
  capture_->captureWidth = streamWidth_;
  capture_->captureHeight = streamHeight_;
  capture_->onFrameCaptured = [weak = std::weak_ptr(encoder_)](const std::shared_ptr<PixelBuffer>& buffer) {
    if (const auto encoder = weak.lock()) encoder->encode(buffer);
  };
  capture_->onError = [weak = weak_from_this()](const Error& error) {
    if (const auto self = weak.lock()) self->checkCapturePermission(error);
  };
  capture_->start();
  Log::line("🎬 Streaming started!");
  finishConfiguring();
  onMainAfter(touchCheckDelay, [](AppDelegate& self) { self.checkTouch(); });
}

/// The capture may have chosen another display than the one that touches were aimed at.
void AppDelegate::checkTouch() {
  if (!capture_) return;
  if (!capture_->targetDisplayID) {
    return Log::line("⚠️ ScreenCapture did not provide display ID - touch input may not work");
  }
  Log::print("🖱️ Configuring touch input for display {}", *capture_->targetDisplayID);
  if (touchInjector_) touchInjector_->setDisplay(*capture_->targetDisplayID);
}

/// Runs on the sample queue: the frame goes straight to both links, the figures to the main queue.
std::function<void(const Data&)> AppDelegate::encodedFrameHandler() {
  return [weak = weak_from_this(), weakUSB = std::weak_ptr(sender_),
          weakWiFi = std::weak_ptr(wifiSender_)](const Data& frame) {
    if (const auto usb = weakUSB.lock()) usb->sendFrame(frame);
    if (const auto wifi = weakWiFi.lock()) wifi->sendFrame(frame);
    const auto self = weak.lock();
    if (!self) return;
    const double now = self->surroundings_.clock->now();
    self->onMain([now](AppDelegate& main) { main.updateStatistics(now); });
  };
}

void AppDelegate::updateStatistics(double now) {
  currentLatency_ = (now - lastFrameTime_) * 1000;
  lastFrameTime_ = now;
  frameCount_ += 1;
  const double elapsed = now - lastFPSUpdate_;
  if (elapsed < 1.0) return;
  currentFPS_ = truncated(static_cast<double>(frameCount_) / elapsed);
  frameCount_ = 0;
  lastFPSUpdate_ = now;
  updateStatusTitle(true);
  updateStatisticsLine();
}

void AppDelegate::dropCapture() {
  if (capture_) capture_->stop();
  capture_ = nullptr;
  encoder_ = nullptr;
}

bool AppDelegate::hasUSBLink() const {
  return sender_ && sender_->peerChannel();
}

bool AppDelegate::hasWiFiLink() const {
  return wifiSender_ && wifiSender_->connection();
}

void AppDelegate::handleSleep() {
  Log::line("😴 Mac going to sleep - stopping capture...");
  dropCapture();
  updateStatusTitle(false);
}

void AppDelegate::handleWake() {
  onMainAfter(wakeDelay, [](AppDelegate& self) {
    {
      const std::lock_guard lock(self.configurationLock_);
      if (self.isConfiguring_) return;
    }
    if (self.capture_ || self.streamWidth_ < 1 || !(self.hasUSBLink() || self.hasWiFiLink())) return;
    Log::line("☀️ Mac woke up - resuming capture...");
    self.startStreaming();
  });
}

void AppDelegate::reconnect() {
  Log::line("🔄 Manual reconnect triggered...");
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
  for (const auto& entry : qualityMenuItems_) setChecked(*entry, entry.get() == &item);
  if (encoder_) {
    encoder_->jpegQuality = jpegQualityFor(qualityMode_, hasWiFiLink());
    Log::print("🎚️ Quality changed to {} (JPEG {})", rawValue(qualityMode_),
               floatingPointText(encoder_->jpegQuality));
  }
  if (!changesSize || !lastDeviceInfo_ || !(hasUSBLink() || hasWiFiLink())) return;
  Log::print("🔍 Display size changed to {}", sizeName(qualityMode_));
  handleDeviceInfo(*lastDeviceInfo_);
}

void AppDelegate::discard() {
  if (capture_) capture_->stop();
  if (touchInjector_) touchInjector_->releaseHeldButton();
  if (sender_) sender_->stop();
  if (wifiSender_) wifiSender_->stop();
  if (!virtualDisplayManager_) return;
  virtualDisplayManager_->destroyDisplay();
  Log::line("✅ Virtual display discarded");
}

}  // namespace tandemview
