#include "companion/FrameWindow.h"

#include <SDL.h>
#include <fmt/core.h>

#include <algorithm>
#include <vector>

#include "companion/JpegReader.h"
#include "runtime/SerialQueue.h"

namespace tandemview {

namespace {

/// The user's input is looked for this often.
constexpr double eventInterval = 1.0 / 60;

/// The window's first size leaves at least this share of the screen free.
constexpr double freeShare = 0.1;

struct SDLDeleter {
  void operator()(SDL_Window* window) const { SDL_DestroyWindow(window); }
  void operator()(SDL_Renderer* renderer) const { SDL_DestroyRenderer(renderer); }
  void operator()(SDL_Texture* texture) const { SDL_DestroyTexture(texture); }
};
template <typename Object>
using Owned = std::unique_ptr<Object, SDLDeleter>;

struct Library {
  bool isReady = false;
  Library() {
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");  // they are the main queue's
    isReady = SDL_Init(SDL_INIT_VIDEO) == 0;
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() { SDL_Quit(); }
};

Error windowError() {
  return {"SDL", 0, SDL_GetError()};
}

}  // namespace

class FrameWindow::Screen : public std::enable_shared_from_this<Screen> {
 public:
  Screen(std::shared_ptr<Queue> mainQueue, std::function<void()> onClose)
      : mainQueue_(std::move(mainQueue)), onClose_(std::move(onClose)) {}

  bool open(FrameSize size) {
    if (!library_.isReady) return false;
    SDL_Rect screen{0, 0, 1280, 800};
    SDL_GetDisplayUsableBounds(0, &screen);
    const double scale = std::min({1.0, (1 - freeShare) * screen.w / static_cast<double>(size.width),
                                   (1 - freeShare) * screen.h / static_cast<double>(size.height)});
    const auto scaled = [scale](std::int64_t side) {
      return std::max(1, static_cast<int>(static_cast<double>(side) * scale));
    };
    window_.reset(SDL_CreateWindow("Tandemview companion", SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED,
                                   scaled(size.width), scaled(size.height), SDL_WINDOW_RESIZABLE));
    if (!window_) return false;
    renderer_.reset(SDL_CreateRenderer(window_.get(), -1, 0));
    SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
    return renderer_ != nullptr;
  }

  void pollEvents() {
    for (SDL_Event event; SDL_PollEvent(&event) != 0;) {
      if (event.type == SDL_QUIT) onClose_();
      if (event.type == SDL_WINDOWEVENT && event.window.event == SDL_WINDOWEVENT_EXPOSED) present();
    }
    mainQueue_->after(eventInterval, [weak = weak_from_this()] {
      if (const auto screen = weak.lock()) screen->pollEvents();
    });
  }

  void show(const Data& image, FrameSize size, const std::string& title) {
    if (isDecoding_) return;
    isDecoding_ = true;
    decodingQueue_->async([this, weak = weak_from_this(), image, size, title] {
      // The queue is ours and joined before anything else goes: `this` is alive.
      const bool isReadable = reader_.open(image.bytes()) == size && reader_.readPixels(pixels_);
      mainQueue_->async([weak, isReadable, size, title] {
        const auto screen = weak.lock();
        if (!screen) return;
        screen->isDecoding_ = false;
        if (isReadable) screen->update(size, title);
      });
    });
  }

 private:
  void update(FrameSize size, const std::string& title) {
    if (size != textureSize_) {
      texture_.reset(SDL_CreateTexture(renderer_.get(), SDL_PIXELFORMAT_RGB888, SDL_TEXTUREACCESS_STREAMING,
                                       static_cast<int>(size.width), static_cast<int>(size.height)));
      SDL_RenderSetLogicalSize(renderer_.get(), static_cast<int>(size.width), static_cast<int>(size.height));
      textureSize_ = size;
    }
    if (!texture_) return;
    SDL_UpdateTexture(texture_.get(), nullptr, pixels_.data(), static_cast<int>(size.width * 4));
    SDL_SetWindowTitle(window_.get(), title.c_str());
    present();
  }

  void present() {
    SDL_RenderClear(renderer_.get());
    if (texture_) SDL_RenderCopy(renderer_.get(), texture_.get(), nullptr, nullptr);
    SDL_RenderPresent(renderer_.get());
  }

  std::shared_ptr<Queue> mainQueue_;
  std::function<void()> onClose_;
  Library library_;
  Owned<SDL_Window> window_;
  Owned<SDL_Renderer> renderer_;
  Owned<SDL_Texture> texture_;
  FrameSize textureSize_;
  bool isDecoding_ = false;

  // While isDecoding_, these belong to the decoding queue.
  JpegReader reader_;
  std::vector<std::uint8_t> pixels_;
  std::shared_ptr<SerialQueue> decodingQueue_ = SerialQueue::withThread("companion.decoding");  // the first to go
};

Result<std::unique_ptr<FrameWindow>> FrameWindow::open(std::shared_ptr<Queue> mainQueue, FrameSize firstSize,
                                                       std::function<void()> onClose) {
  auto screen = std::make_shared<Screen>(std::move(mainQueue), std::move(onClose));
  if (!screen->open(firstSize)) return tl::unexpected(windowError());
  screen->pollEvents();
  return std::unique_ptr<FrameWindow>(new FrameWindow(std::move(screen)));
}

FrameWindow::~FrameWindow() = default;

void FrameWindow::show(const Data& image, FrameSize size, double framesPerSecond, double latencyMilliseconds) {
  screen_->show(image, size,
                fmt::format("{} · {:.1f} fps · {:.1f} ms", size.text(), framesPerSecond, latencyMilliseconds));
}

}  // namespace tandemview
