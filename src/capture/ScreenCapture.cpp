#include "capture/ScreenCapture.h"

#include <algorithm>

#include "runtime/Log.h"
#include "runtime/Weakly.h"

namespace tandemview {

ScreenCapture::ScreenCapture(Surroundings surroundings) : surroundings_(std::move(surroundings)) {}

void ScreenCapture::start() {
  if (isRunning_) return;
  isRunning_ = true;
  stopRequested_ = false;
  surroundings_.mainQueue->async(weakly(this, &ScreenCapture::begin));
}

void ScreenCapture::stop() {
  if (!isRunning_) return;
  isRunning_ = false;
  stopRequested_ = true;
  if (!stream_) return;
  const auto stream = std::exchange(stream_, nullptr);
  stream->stopCapture([stream](const std::optional<Error>&) {});
}

void ScreenCapture::begin() {
  surroundings_.system->shareableContent(/*excludingDesktopWindows=*/false, /*onScreenWindowsOnly=*/true,
                                         weakly(this, &ScreenCapture::contentArrived));
}

void ScreenCapture::contentArrived(const Result<std::vector<CapturableDisplay>>& content) {
  if (!content) return failed(content.error());
  if (stopRequested_) return;
  const auto display = chooseDisplay(*content);
  if (!display) {
    Log::line("❌ No display found");
    return startFailed(std::nullopt);
  }
  Log::print("📺 Capturing: {}x{} → {}x{}", display->width, display->height, captureWidth, captureHeight);

  const CaptureConfiguration configuration = {
      .displayID = display->displayID, .width = captureWidth, .height = captureHeight};
  const auto streamReference = std::make_shared<std::weak_ptr<CaptureStream>>();
  const CaptureOutput output = {
      .sampleQueue = surroundings_.sampleQueue,
      .didOutputSample = weakly(this,
                                [](ScreenCapture& capture, SampleType type, std::shared_ptr<PixelBuffer> buffer) {
                                  if (type != SampleType::Screen || !buffer || !capture.onFrameCaptured) return;
                                  capture.onFrameCaptured(std::move(buffer));
                                }),
      .didStopWithError = [weak = weak_from_this(), mainQueue = surroundings_.mainQueue,
                           streamReference](const Error& error) {
        Log::print("❌ Stream error: {}", error.localizedDescription());
        mainQueue->async(weakly(weak, [streamReference, error](ScreenCapture& capture) {
          capture.streamStopped(*streamReference, error);
        }));
      }};
  const auto stream = surroundings_.system->makeStream(configuration, output);
  if (!stream) return failed(stream.error());
  *streamReference = *stream;
  stream_ = *stream;
  stream_->startCapture([weak = weak_from_this(), mainQueue = surroundings_.mainQueue,
                         started = *stream](const std::optional<Error>& error) {
    mainQueue->async(weakly(weak, [started, error](ScreenCapture& capture) { capture.streamStarted(started, error); }));
  });
}

void ScreenCapture::streamStarted(const std::shared_ptr<CaptureStream>& stream, const std::optional<Error>& error) {
  if (error) return failed(*error);
  if (stopRequested_) return stream->stopCapture([stream](const std::optional<Error>&) {});
  Log::line("✅ Capture started @ 60fps");
}

/// A report of a stream that has been replaced meanwhile changes nothing.
void ScreenCapture::streamStopped(const std::weak_ptr<CaptureStream>& stream, const Error& error) {
  if (!stream_ || stream.lock() != stream_) return;
  stream_ = nullptr;
  isRunning_ = false;
  if (onError) onError(error);
}

void ScreenCapture::failed(const Error& error) {
  Log::print("❌ Capture failed: {}", error.localizedDescription());
  startFailed(error);
}

void ScreenCapture::startFailed(const std::optional<Error>& error) {
  isRunning_ = false;
  if (onStartFailed && !stopRequested_) onStartFailed(error);
}

std::optional<CapturableDisplay> ScreenCapture::chooseDisplay(const std::vector<CapturableDisplay>& displays) {
  Log::line("📺 Available displays:");
  for (const CapturableDisplay& each : displays) {
    Log::print("   - ID: {}, Size: {}x{}", each.displayID, each.width, each.height);
  }
  const auto chosen = matchingDisplay(displays);
  if (!chosen) return std::nullopt;
  targetDisplayID = chosen->displayID;
  Log::print("✅ ScreenCapture: Stored display ID {} for touch input", chosen->displayID);
  return chosen;
}

/// By ID, else by name, else any secondary display, else the main one.
std::optional<CapturableDisplay> ScreenCapture::matchingDisplay(const std::vector<CapturableDisplay>& displays) const {
  if (targetDisplayID) {
    const auto found = std::ranges::find(displays, *targetDisplayID, &CapturableDisplay::displayID);
    if (found != displays.end()) {
      Log::print("📺 Found display by ID: {}", found->displayID);
      return *found;
    }
  }
  if (targetDisplayName) {
    for (const CapturableDisplay& each : displays) {
      const auto name = surroundings_.system->productName(each.displayID);
      if (!name || name->find(*targetDisplayName) == std::string::npos) continue;
      Log::print("📺 Found display by name: '{}'", *name);
      return each;
    }
    Log::print("⚠️ Display '{}' not found by name, looking for secondary display...", *targetDisplayName);
  }
  if (displays.size() >= 2) {
    const auto secondary = std::ranges::find_if(
        displays, [this](const CapturableDisplay& each) { return !surroundings_.screens->isMain(each.displayID); });
    if (secondary != displays.end()) {
      Log::print("📺 Using secondary display: {}", secondary->displayID);
      return *secondary;
    }
  }
  if (displays.empty()) return std::nullopt;
  Log::line("📺 Using main display");
  return displays.front();
}

}  // namespace tandemview
