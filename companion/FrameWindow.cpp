#include "companion/FrameWindow.h"

#include <future>

namespace tandemview {

FrameWindow::FrameWindow(std::shared_ptr<Queue> mainQueue, Output output)
    : mainQueue_(std::move(mainQueue)), output_(std::make_shared<const Output>(std::move(output))) {}

Result<std::unique_ptr<FrameWindow>> FrameWindow::open(std::shared_ptr<Queue> mainQueue,
                                                       const WindowScreen::Options& options, Output output) {
  std::unique_ptr<FrameWindow> window(new FrameWindow(std::move(mainQueue), std::move(output)));
  std::promise<std::optional<Error>> opening;
  auto opened = opening.get_future();
  window->thread_ =
      std::thread([screenOutput = window->screenOutput(), options, opening = std::move(opening)]() mutable {
        WindowScreen screen(std::move(screenOutput));
        const auto error = screen.open(options);
        opening.set_value(error);
        if (!error) screen.run();
      });
  if (const auto error = opened.get()) return tl::unexpected(*error);
  return window;
}

void FrameWindow::close(std::unique_ptr<FrameWindow> window) {
  static std::unique_ptr<FrameWindow>& leftBehind = *new std::unique_ptr<FrameWindow>;
  if (window && window->isDisplayLost_) leftBehind = std::move(window);
}

FrameWindow::~FrameWindow() {
  output_ = nullptr;
  decodingQueue_->stopAndJoin();
  WindowScreen::stop();
  thread_.join();
}

template <typename Handler>
auto FrameWindow::onMainQueue(Handler Output::*handler) {
  return [queue = mainQueue_, weak = std::weak_ptr(output_), handler](const auto&... arguments) {
    queue->async([weak, handler, arguments...] {
      if (const auto output = weak.lock()) ((*output).*handler)(arguments...);
    });
  };
}

WindowScreen::Output FrameWindow::screenOutput() {
  // The window's thread ends before we do.
  return {.didClose = onMainQueue(&Output::didClose),
          .didLoseDisplay =
              [this, didClose = onMainQueue(&Output::didClose)] {
                isDisplayLost_ = true;
                didClose("the display is gone");
              },
          .didTakeInput = onMainQueue(&Output::didTakeInput),
          .takePicture = [this](Picture& picture) { return pictures_.take(picture); },
          .takeContents = [this](WindowContents& contents) { return contentsToShow_.take(contents); },
          .visibilityDidChange =
              [this](bool isVisible) {
                if (!isVisible_.exchange(isVisible) && isVisible) decodeNewest();
              },
          .wantsTurn = onMainQueue(&Output::wantsTurn),
          .didSettle = onMainQueue(&Output::didSettle),
          .didAnswer = onMainQueue(&Output::didAnswer)};
}

void FrameWindow::show(const Data& image, double timestamp, const std::string& link, double now) {
  if (newestTimestamp_ && newestLink_ != link && timestamp <= *newestTimestamp_) return;
  newestTimestamp_ = timestamp;
  newestLink_ = link;
  rate_.frameDidArrive(now);
  Data newest = image;
  if (images_.put(newest)) decodeNewest();
}

void FrameWindow::setLink(const LinkStatus& link) {
  newestTimestamp_ = std::nullopt;  // another host's clock may be behind
  contents_.link = link;
  publishContents();
}

void FrameWindow::setNotice(const std::string& text) {
  contents_.notice = text;
  publishContents();
}

void FrameWindow::setStatistics(std::vector<std::string> lines) {
  if (lines == contents_.statistics) return;
  contents_.statistics = std::move(lines);
  publishContents();
}

void FrameWindow::ask(std::optional<WindowQuestion> question) {
  contents_.question = std::move(question);
  publishContents();
}

void FrameWindow::publishContents() {
  WindowContents newest = contents_;
  // Not from the main queue, which must not stand still.
  if (contentsToShow_.put(newest)) decodingQueue_->async(WindowScreen::wake);
}

void FrameWindow::decodeNewest() {
  // The queue is ours and joined before anything else goes: `this` is alive.
  decodingQueue_->async([this] { decode(); });
}

void FrameWindow::decode() {
  Data image;
  if (!isVisible_ || !images_.take(image)) return;
  if (!reader_.open(image.bytes()) || !reader_.readPicture(picture_)) return;
  if (pictures_.put(picture_)) WindowScreen::wake();
}

}  // namespace tandemview
