#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "capture/CaptureSystem.h"
#include "runtime/Queue.h"
#include "screens/Screens.h"

namespace tandemview {

/// Captures one display and hands out its pictures. Used on the main queue; pictures come on the sample queue.
class ScreenCapture : public std::enable_shared_from_this<ScreenCapture> {
 public:
  struct Surroundings {
    std::shared_ptr<CaptureSystem> system;
    std::shared_ptr<Screens> screens;
    std::shared_ptr<Queue> mainQueue;
    std::shared_ptr<Queue> sampleQueue;
  };

  explicit ScreenCapture(Surroundings surroundings);

  /// Set before start(). The first runs on the sample queue, the others on the main queue.
  std::function<void(std::shared_ptr<PixelBuffer>)> onFrameCaptured;
  /// The running stream has ended by itself.
  std::function<void(Error)> onError;
  /// The start has come to nothing; with the host's error, if it reported one.
  std::function<void(std::optional<Error>)> onStartFailed;

  /// The display to capture, by ID or else by name; the ID is overwritten with the one actually chosen.
  std::optional<std::uint32_t> targetDisplayID;
  std::optional<std::string> targetDisplayName;

  /// Pixels of the captured pictures.
  std::int64_t captureWidth = 860;
  std::int64_t captureHeight = 1864;

  /// Does nothing while running. Returns before the capture runs.
  void start();
  void stop();
  bool isRunning() const { return isRunning_; }

 private:
  void begin();
  void contentArrived(const Result<std::vector<CapturableDisplay>>& content);
  void streamStarted(const std::shared_ptr<CaptureStream>& stream, const std::optional<Error>& error);
  void streamStopped(const std::weak_ptr<CaptureStream>& stream, const Error& error);
  void failed(const Error& error);
  void startFailed(const std::optional<Error>& error);
  std::optional<CapturableDisplay> chooseDisplay(const std::vector<CapturableDisplay>& displays);
  std::optional<CapturableDisplay> matchingDisplay(const std::vector<CapturableDisplay>& displays) const;

  const Surroundings surroundings_;
  std::shared_ptr<CaptureStream> stream_;
  bool isRunning_ = false;
  bool stopRequested_ = false;
};

}  // namespace tandemview
