#pragma once

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include "capture/CaptureSystem.h"
#include "screens/ScreenRectangle.h"

namespace tandemview {

/// A stream with its last picture, and with its end. It must not be destroyed on the queue of its pictures.
class StreamWatcher {
 public:
  /// `encodingTime`: for how long it keeps the queue for each picture.
  explicit StreamWatcher(std::chrono::milliseconds encodingTime = {}) : encodingTime_(encodingTime) {}

  /// All of the display's pictures, in its own size. Returns when the first one has come; false: none does.
  bool start(CaptureSystem& captures, std::uint32_t display, const ScreenRectangle& bounds,
             const std::shared_ptr<Queue>& queue) {
    const auto stream = captures.makeStream({.displayID = display,
                                             .width = static_cast<std::int64_t>(bounds.width),
                                             .height = static_cast<std::int64_t>(bounds.height),
                                             .minimumFrameInterval = 0.001},
                                            {.sampleQueue = queue,
                                             .didOutputSample =
                                                 [state = state_, time = encodingTime_](SampleType, auto picture) {
                                                   std::this_thread::sleep_for(time);
                                                   const std::lock_guard lock(state->mutex);
                                                   state->picture = std::move(picture);
                                                   state->changed.notify_all();
                                                 },
                                             .didStopWithError =
                                                 [state = state_](const Error& error) {
                                                   const std::lock_guard lock(state->mutex);
                                                   state->error = error;
                                                   state->changed.notify_all();
                                                 }});
    if (!stream) return false;
    stream_ = *stream;
    stream_->startCapture([](const std::optional<Error>&) {});
    std::unique_lock lock(state_->mutex);
    return state_->changed.wait_for(lock, patience, [&] { return state_->picture != nullptr; });
  }

  /// The last picture, once it has this colour there; null if that doesn't come.
  std::shared_ptr<PixelBuffer> shows(std::uint32_t color, int x, int y) const {
    std::unique_lock lock(state_->mutex);
    const bool isShown = state_->changed.wait_for(lock, patience, [&] {
      return state_->picture && x < state_->picture->width() && y < state_->picture->height() &&
             pixel(*state_->picture, x, y) == color;
    });
    return isShown ? state_->picture : nullptr;
  }

  /// Why the stream has ended, once it has.
  std::optional<Error> end() const {
    std::unique_lock lock(state_->mutex);
    state_->changed.wait_for(lock, patience, [&] { return state_->error.has_value(); });
    return state_->error;
  }

 private:
  static constexpr std::chrono::seconds patience{20};

  /// Outlives the stream's last call.
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    std::shared_ptr<PixelBuffer> picture;
    std::optional<Error> error;
  };

  static std::uint32_t pixel(const PixelBuffer& picture, int x, int y) {
    std::uint32_t value = 0;
    std::memcpy(&value, picture.baseAddress() + static_cast<std::size_t>(y) * picture.bytesPerRow() + 4 * x, 4);
    return value & 0xFFFFFF;
  }

  const std::chrono::milliseconds encodingTime_;
  const std::shared_ptr<State> state_ = std::make_shared<State>();
  std::shared_ptr<CaptureStream> stream_;
};

}  // namespace tandemview
