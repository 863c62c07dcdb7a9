#pragma once

#include <functional>
#include <memory>

#include "companion/FrameSize.h"
#include "runtime/Data.h"
#include "runtime/Error.h"
#include "runtime/Queue.h"

namespace tandemview {

/// A window that shows the newest frame, scaled to fit. Lives on the main queue; frames are decoded on a queue of its
/// own, and those that arrive meanwhile are passed over.
class FrameWindow {
 public:
  /// `onClose` is called when the user closes the window.
  static Result<std::unique_ptr<FrameWindow>> open(std::shared_ptr<Queue> mainQueue, FrameSize firstSize,
                                                   std::function<void()> onClose);
  ~FrameWindow();
  FrameWindow(const FrameWindow&) = delete;
  FrameWindow& operator=(const FrameWindow&) = delete;

  /// Shows a JPEG image (contiguous) of the size given.
  void show(const Data& image, FrameSize size, double framesPerSecond, double latencyMilliseconds);

 private:
  class Screen;

  explicit FrameWindow(std::shared_ptr<Screen> screen) : screen_(std::move(screen)) {}

  std::shared_ptr<Screen> screen_;
};

}  // namespace tandemview
