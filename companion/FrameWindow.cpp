#include "companion/FrameWindow.h"

#include <fmt/format.h>

#include <future>

namespace tandemview {

FrameWindow::FrameWindow(std::shared_ptr<Queue> mainQueue, Output output)
    : mainQueue_(std::move(mainQueue)), output_(std::make_shared<const Output>(std::move(output))) {}

Result<std::unique_ptr<FrameWindow>> FrameWindow::open(std::shared_ptr<Queue> mainQueue, FrameSize firstSize,
                                                       Output output) {
  std::unique_ptr<FrameWindow> window(new FrameWindow(std::move(mainQueue), std::move(output)));
  std::promise<std::optional<Error>> opening;
  auto opened = opening.get_future();
  window->thread_ =
      std::thread([screenOutput = window->screenOutput(), firstSize, opening = std::move(opening)]() mutable {
        const auto didClose = screenOutput.didClose;
        WindowScreen screen(std::move(screenOutput));
        const auto error = screen.open(firstSize);
        opening.set_value(error);
        if (error) return;
        screen.run();
        didClose();
      });
  if (const auto error = opened.get()) return tl::unexpected(*error);
  return window;
}

FrameWindow::~FrameWindow() {
  output_ = nullptr;
  decodingQueue_->stopAndJoin();
  WindowScreen::stop();
  thread_.join();
}

WindowScreen::Output FrameWindow::screenOutput() {
  const std::weak_ptr<const Output> weak = output_;
  return {.didClose =
              [queue = mainQueue_, weak] {
                queue->async([weak] {
                  if (const auto output = weak.lock()) output->didClose();
                });
              },
          .didTakeInput =
              [queue = mainQueue_, weak](std::uint32_t type, const std::string& message) {
                queue->async([weak, type, message] {
                  if (const auto output = weak.lock()) output->didTakeInput(type, message);
                });
              },
          .isReadyForPicture = [this](WindowScreen& screen) {  // whose thread ends before we do
            screen.show(pixels_, size_, status_);
            isBusy_ = false;
          }};
}

void FrameWindow::show(const Data& image, FrameSize size, double framesPerSecond, double latencyMilliseconds) {
  if (isBusy_.exchange(true)) return;
  status_ = fmt::format("{} · {:.1f} fps · {:.1f} ms", size.text(), framesPerSecond, latencyMilliseconds);
  // The queue is ours and joined before anything else goes: `this` is alive.
  decodingQueue_->async([this, image, size] { decode(image, size); });
}

void FrameWindow::decode(const Data& image, FrameSize size) {
  size_ = size;
  const bool isReadable = reader_.open(image.bytes()) == size && reader_.readPixels(pixels_);
  if (!isReadable || !WindowScreen::callForPicture()) isBusy_ = false;
}

}  // namespace tandemview
