#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

#include "app/AppDelegate.h"
#include "capture/RestWatch.h"
#include "runtime/Assertion.h"
#include "runtime/FloatingPointText.h"
#include "runtime/Log.h"
#include "runtime/Truncation.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

constexpr double touchCheckDelay = 1.5;

/// Seconds before each attempt to bring back a stream that has ended by itself; the last one holds for all further
/// attempts. A display that somebody rearranges comes back soon; a lasting fault must not keep the host busy.
constexpr double recoveryDelays[] = {1, 2, 5, 10};

/// Seconds without a picture after which the desktop counts as having rested: what has passed until the next picture is
/// no latency then, and no frame rate.
constexpr double shortestRest = 9;

}  // namespace

/// Of the display as it is.
void AppDelegate::streamDisplay() {
  const auto display = virtualDisplayManager_->displayID();
  if (display && touchInjector_) touchInjector_->setDisplay(*display);
  startStreaming();
}

void AppDelegate::startStreaming() {
  if (!hasLink()) {
    Log::line("⚠️ No active connection, skipping stream start");
    return finishConfiguring();
  }
  if (waitForUnlocking()) return finishConfiguring();
  require(streamWidth_ <= std::numeric_limits<std::int32_t>::max() &&
              streamHeight_ <= std::numeric_limits<std::int32_t>::max(),
          "a stream size that fits 32 bits");
  encoder_ = std::make_shared<MJPEGEncoder>(surroundings_.makeImageEncoder(), surroundings_.clock);
  encoder_->jpegQuality = jpegQualityFor(qualityMode_, hasWiFiLink());
  Log::print("{} — quality mode: {} (JPEG {})", hasWiFiLink() ? "📶 WiFi" : "🔌 USB", rawValue(qualityMode_),
             floatingPointText(encoder_->jpegQuality));
  distributor_ = makeDistributor();
  encoder_->onEncodedData = encodedFrameHandler();

  capture_ = std::make_shared<ScreenCapture>(ScreenCapture::Surroundings{.system = surroundings_.captures,
                                                                         .screens = surroundings_.screens,
                                                                         .mainQueue = surroundings_.mainQueue,
                                                                         .sampleQueue = surroundings_.sampleQueue});
  capture_->targetDisplayID = virtualDisplayManager_->displayID();
  capture_->targetDisplayName = virtualDisplayName;
  capture_->captureWidth = streamWidth_;
  capture_->captureHeight = streamHeight_;
  const auto restWatch = std::make_shared<RestWatch>(surroundings_.sampleQueue,
                                                     weakly(std::weak_ptr(encoder_), &MJPEGEncoder::encodeAtRest));
  capture_->onFrameCaptured =
      weakly(std::weak_ptr(encoder_), [restWatch](MJPEGEncoder& encoder, const std::shared_ptr<PixelBuffer>& buffer) {
        encoder.encode(buffer);
        restWatch->pictureCame();
      });
  capture_->onError = weakly(this, &AppDelegate::streamEnded);
  capture_->onStartFailed = weakly(this, &AppDelegate::streamEnded);
  capture_->start();
  Log::line("🎬 Streaming started!");
  finishConfiguring();
  continueAfter(touchCheckDelay, [](AppDelegate& self) { self.checkTouch(); });
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

/// The capture has ended by itself, or its start has come to nothing: without this, a phone that describes itself again
/// would be told that the stream goes on.
void AppDelegate::streamEnded(const std::optional<Error>& error) {
  dropCapture();
  updateStatusTitle(false);
  if (error && checkCapturePermission(*error)) return;  // trying again would change nothing before the user does
  isStoppedByUser_ = error && error->domain == userStoppedDomain;
  if (!isStoppedByUser_) return recoverLater();
  Log::line("✋ The user has stopped the stream - it comes back by \"Reconnect\", or when the phone connects or turns");
}

void AppDelegate::recoverLater() {
  const double delay = recoveryDelays[std::min(recoveries_, std::size(recoveryDelays) - 1)];
  continueAfter(delay, [](AppDelegate& self) { self.recover(); });
}

void AppDelegate::recover() {
  const auto info = newestDeviceInfo();
  if (capture_ || !info || !hasLink() || waitForUnlocking()) return;
  Log::print("🔄 The stream has ended by itself - bringing it back (attempt {})...", ++recoveries_);
  const DisplayPlan plan = planFor(*info);
  const bool isAsConfigured = plan == displayedPlan_ && virtualDisplayManager_->isShownAt({plan.width, plan.height});
  if (!isAsConfigured || recoveries_ > 1) return handleDeviceInfo(*info);
  ++configuration_;
  virtualDisplayManager_->fixOverlap();
  streamDisplay();
}

/// False if there is nothing to wait for: else the display comes with the unlocking, and displaysChanged() goes on.
bool AppDelegate::waitForUnlocking() {
  const bool waited = std::exchange(waitsForUnlocking_, virtualDisplayManager_->isWithheld());
  if (waitsForUnlocking_ && !waited) {
    recoveries_ = 0;
    Log::line("🔒 The screen is locked - streaming goes on when it is unlocked");
  }
  return waitsForUnlocking_;
}

/// Weak, because the frames' queue may let go of the distributor later than the main queue of the senders.
std::shared_ptr<FrameDistributor> AppDelegate::makeDistributor() {
  const auto way = [](const auto& sender) {
    return FrameDistributor::Way{.send =
                                     [weak = std::weak_ptr(sender)](const Data& frame) {
                                       const auto live = weak.lock();
                                       return live ? live->sendFrame(frame) : std::nullopt;
                                     },
                                 .link =
                                     [weak = std::weak_ptr(sender)] {
                                       const auto live = weak.lock();
                                       return live ? live->linkNumber() : std::nullopt;
                                     }};
  };
  return std::make_shared<FrameDistributor>(surroundings_.sampleQueue, std::vector{way(sender_), way(wifiSender_)});
}

/// Runs on the sample queue: the frame goes straight to the links, the figures to the main queue.
std::function<void(const Data&)> AppDelegate::encodedFrameHandler() {
  return [weak = weak_from_this(), weakEncoder = std::weak_ptr(encoder_), distributor = distributor_,
          mainQueue = surroundings_.mainQueue, clock = surroundings_.clock](const Data& frame) {
    distributor->distribute(frame);
    mainQueue->async(weakly(weak, [weakEncoder, now = clock->now()](AppDelegate& self) {
      const auto encoder = weakEncoder.lock();
      if (encoder && encoder == self.encoder_) self.updateStatistics(now);  // else the stream has been torn down
    }));
  };
}

void AppDelegate::updateStatistics(double now) {
  recoveries_ = 0;
  const double gap = now - std::exchange(lastFrameTime_, now);
  const bool followsRest = gap >= shortestRest;
  if (!followsRest) currentLatency_ = gap * 1000;
  frameCount_ += 1;
  const double elapsed = now - lastFPSUpdate_;
  if (elapsed < 1.0) return;
  currentFPS_ = truncated(static_cast<double>(frameCount_) / elapsed);
  frameCount_ = 0;
  lastFPSUpdate_ = now;
  updateStatusTitle(true);
  if (!followsRest) menu_->showStatistics(currentFPS_, currentLatency_);
}

void AppDelegate::dropCapture() {
  if (capture_) capture_->stop();
  capture_ = nullptr;
  encoder_ = nullptr;
  distributor_ = nullptr;
}

bool AppDelegate::hasUSBLink() const {
  return sender_ && sender_->peerChannel();
}

bool AppDelegate::hasWiFiLink() const {
  return wifiSender_ && wifiSender_->isLive();
}

}  // namespace tandemview
