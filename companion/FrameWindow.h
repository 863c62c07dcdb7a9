#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "companion/FrameSize.h"
#include "companion/JpegReader.h"
#include "companion/WindowScreen.h"
#include "runtime/Data.h"
#include "runtime/Error.h"
#include "runtime/SerialQueue.h"

namespace tandemview {

/// A window that shows the newest frame, scaled to fit, and takes the user's input for the phone. Lives on the main
/// queue. The window itself is served by a thread that sleeps until something happens; frames are decoded on a queue
/// of their own, and those that arrive meanwhile are passed over.
class FrameWindow {
 public:
  /// Called on the main queue, and no more once the window is gone.
  struct Output {
    std::function<void()> didClose;  // by the user, or with the desktop
    /// A touch or key message (MessageType) that the phone is to send.
    std::function<void(std::uint32_t type, const std::string& message)> didTakeInput;
  };

  static Result<std::unique_ptr<FrameWindow>> open(std::shared_ptr<Queue> mainQueue, FrameSize firstSize,
                                                   Output output);
  ~FrameWindow();
  FrameWindow(const FrameWindow&) = delete;
  FrameWindow& operator=(const FrameWindow&) = delete;

  /// Shows a JPEG image (contiguous) of the size given.
  void show(const Data& image, FrameSize size, double framesPerSecond, double latencyMilliseconds);

 private:
  FrameWindow(std::shared_ptr<Queue> mainQueue, Output output);

  WindowScreen::Output screenOutput();
  void decode(const Data& image, FrameSize size);

  const std::shared_ptr<Queue> mainQueue_;
  std::shared_ptr<const Output> output_;

  // A picture on its way: the main queue sets this, and what follows belongs to the decoding queue and then to the
  // window's thread, which takes it back.
  std::atomic<bool> isBusy_ = false;
  JpegReader reader_;
  std::vector<std::uint8_t> pixels_;
  FrameSize size_;
  std::string status_;

  const std::shared_ptr<SerialQueue> decodingQueue_ = SerialQueue::withThread("companion.decoding");
  std::thread thread_;
};

}  // namespace tandemview
