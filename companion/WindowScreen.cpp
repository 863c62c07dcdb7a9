#include "companion/WindowScreen.h"

#include <SDL.h>

#include <algorithm>

#include "protocol/MessageType.h"

namespace tandemview {

namespace {

/// The window's first size leaves at least this share of the screen free.
constexpr double freeShare = 0.1;

/// What other threads ask of the window's.
enum class Call : std::int32_t { Picture, Stop };

bool push(Call call) {
  SDL_Event event{};
  event.type = SDL_USEREVENT;
  event.user.code = static_cast<std::int32_t>(call);
  return SDL_PushEvent(&event) == 1;
}

bool isCall(const SDL_Event& event, Call call) {
  return event.type == SDL_USEREVENT && event.user.code == static_cast<std::int32_t>(call);
}

}  // namespace

struct WindowScreen::Window {
  struct SDLDeleter {
    void operator()(SDL_Window* object) const { SDL_DestroyWindow(object); }
    void operator()(SDL_Renderer* object) const { SDL_DestroyRenderer(object); }
    void operator()(SDL_Texture* object) const { SDL_DestroyTexture(object); }
  };
  template <typename Object>
  using Owned = std::unique_ptr<Object, SDLDeleter>;

  struct Library {
    bool isReady = false;
    Library() {
      SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");  // they are the main queue's
      SDL_SetHint(SDL_HINT_MOUSE_AUTO_CAPTURE, "0");  // a finger beyond the screen's edge touches nothing
      SDL_SetHint(SDL_HINT_MOUSE_FOCUS_CLICKTHROUGH, "1");
      SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
      isReady = SDL_Init(SDL_INIT_VIDEO) == 0;
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library() { SDL_Quit(); }
  };

  Library library;
  Owned<SDL_Window> window;
  Owned<SDL_Renderer> renderer;
  Owned<SDL_Texture> texture;
};

WindowScreen::WindowScreen(Output output)
    : output_(std::move(output)),
      pointer_([this](const std::string& message) { output_.didTakeInput(MessageType::touchEvent, message); }),
      keys_([this](const std::string& message) { output_.didTakeInput(MessageType::keyEvent, message); }) {}

WindowScreen::~WindowScreen() = default;

std::optional<Error> WindowScreen::open(FrameSize size) {
  window_ = std::make_unique<Window>();
  const auto failure = [] { return Error{"SDL", 0, SDL_GetError()}; };
  if (!window_->library.isReady) return failure();
  SDL_Rect screen{0, 0, 1280, 800};
  SDL_GetDisplayUsableBounds(0, &screen);
  const double scale = std::min({1.0, (1 - freeShare) * screen.w / static_cast<double>(size.width),
                                 (1 - freeShare) * screen.h / static_cast<double>(size.height)});
  const auto scaled = [scale](std::int64_t side) {
    return std::max(1, static_cast<int>(static_cast<double>(side) * scale));
  };
  window_->window.reset(SDL_CreateWindow("Tandemview companion", SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED,
                                         scaled(size.width), scaled(size.height), SDL_WINDOW_RESIZABLE));
  if (!window_->window) return failure();
  window_->renderer.reset(SDL_CreateRenderer(window_->window.get(), -1, 0));
  if (!window_->renderer) return failure();
  setPictureSize(size);
  status_ = "Tandemview companion";
  updateTitle();
  return std::nullopt;
}

void WindowScreen::run() {
  for (SDL_Event event; SDL_WaitEvent(&event) != 0 && !isCall(event, Call::Stop);) handle(event);
}

bool WindowScreen::callForPicture() {
  return push(Call::Picture);
}

void WindowScreen::stop() {
  push(Call::Stop);
}

void WindowScreen::handle(const SDL_Event& event) {
  pointer_.handle(event);
  keys_.handle(event);
  if (event.type == SDL_KEYDOWN) updateTitle();
  if (event.type == SDL_QUIT) output_.didClose();
  if (event.type == SDL_WINDOWEVENT && event.window.event == SDL_WINDOWEVENT_EXPOSED) present();
  if (isCall(event, Call::Picture)) output_.isReadyForPicture(*this);
}

void WindowScreen::show(const std::vector<std::uint8_t>& pixels, FrameSize size, const std::string& status) {
  if (size != size_ || !window_->texture) {
    window_->texture.reset(SDL_CreateTexture(window_->renderer.get(), SDL_PIXELFORMAT_RGB888,
                                             SDL_TEXTUREACCESS_STREAMING, static_cast<int>(size.width),
                                             static_cast<int>(size.height)));
    setPictureSize(size);
  }
  if (!window_->texture) return;
  SDL_UpdateTexture(window_->texture.get(), nullptr, pixels.data(), static_cast<int>(size.width * 4));
  status_ = status;
  updateTitle();
  present();
}

/// From now on the picture is scaled to fit, and the mouse's events count in its pixels.
void WindowScreen::setPictureSize(FrameSize size) {
  size_ = size;
  pointer_.setPictureSize(size);
  SDL_RenderSetLogicalSize(window_->renderer.get(), static_cast<int>(size.width), static_cast<int>(size.height));
}

void WindowScreen::updateTitle() {
  const std::string title = status_ + " · " + pointer_.hint();
  if (title != SDL_GetWindowTitle(window_->window.get())) SDL_SetWindowTitle(window_->window.get(), title.c_str());
}

void WindowScreen::present() {
  SDL_RenderClear(window_->renderer.get());
  if (window_->texture) SDL_RenderCopy(window_->renderer.get(), window_->texture.get(), nullptr, nullptr);
  SDL_RenderPresent(window_->renderer.get());
}

}  // namespace tandemview
