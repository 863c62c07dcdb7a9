#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "companion/FrameRate.h"
#include "companion/FrameSize.h"
#include "companion/JpegReader.h"
#include "companion/NewestPlace.h"
#include "companion/WindowScreen.h"
#include "runtime/Data.h"
#include "runtime/Error.h"
#include "runtime/SerialQueue.h"

namespace tandemview {

/// A window that shows the newest frame and how it stands with the host, and takes the user's input for the phone.
/// Lives on the main queue. The window itself is served by a thread that sleeps until something happens; frames are
/// decoded on a queue of their own. Between the three, what is newer takes the place of what waits.
class FrameWindow {
 public:
  /// Called on the main queue, and no more once the window is gone.
  struct Output {
    std::function<void(const std::string& reason)> didClose;  // by the user, or with the desktop
    /// A touch or key message (MessageType) that the phone is to send.
    std::function<void(std::uint32_t type, const std::string& message)> didTakeInput;
    std::function<void()> wantsTurn;
    std::function<void(FrameSize size)> didSettle;
    std::function<void(const std::string& answer)> didAnswer;
  };

  static Result<std::unique_ptr<FrameWindow>> open(std::shared_ptr<Queue> mainQueue,
                                                   const WindowScreen::Options& options, Output output);
  /// Closes the window. One whose display is lost stays behind until the program ends, with its threads, which stand
  /// still.
  static void close(std::unique_ptr<FrameWindow> window);
  ~FrameWindow();
  FrameWindow(const FrameWindow&) = delete;
  FrameWindow& operator=(const FrameWindow&) = delete;

  /// Shows a JPEG image (contiguous) with its timestamp that arrived over `link` at `now`. What a second link brings
  /// again, or later, changes nothing; what the same link brings is always shown, whatever its timestamp.
  void show(const Data& image, double timestamp, const std::string& link, double now);
  void setLink(const LinkStatus& link);
  void setNotice(const std::string& text);
  void setStatistics(std::vector<std::string> lines);
  /// Absent: nothing more is asked.
  void ask(std::optional<WindowQuestion> question);

  std::size_t framesPerSecond(double now) { return rate_.framesPerSecond(now); }

 private:
  FrameWindow(std::shared_ptr<Queue> mainQueue, Output output);

  WindowScreen::Output screenOutput();
  /// Hands an event of the window's to the main queue.
  template <typename Handler>
  auto onMainQueue(Handler Output::*handler);
  void publishContents();
  void decodeNewest();
  void decode();

  const std::shared_ptr<Queue> mainQueue_;
  std::shared_ptr<const Output> output_;
  WindowContents contents_;
  FrameRate rate_;
  std::optional<double> newestTimestamp_;  // of the frame that is shown, while the links stay as they are
  std::string newestLink_;                 // that brought it

  NewestPlace<Data> images_;
  NewestPlace<Picture> pictures_;
  NewestPlace<WindowContents> contentsToShow_;
  std::atomic<bool> isDisplayLost_ = false;
  std::atomic<bool> isVisible_ = true;  // what nobody sees is not decoded

  // These belong to the decoding queue.
  JpegReader reader_;
  Picture picture_;

  const std::shared_ptr<SerialQueue> decodingQueue_ = SerialQueue::withThread("companion.decoding");
  std::thread thread_;
};

}  // namespace tandemview
