#include "companion/WindowScreen.h"

#include <SDL.h>

#include <algorithm>

#include "companion/DisplayLoss.h"
#include "companion/ScreenBlanking.h"
#include "companion/SdlHandle.h"
#include "companion/WindowPicture.h"
#include "companion/WindowText.h"
#include "companion/WindowWords.h"
#include "protocol/MessageType.h"

namespace tandemview {

namespace {

using State = LinkStatus::State;

/// The window's first size leaves at least this share of the screen free.
constexpr double freeShare = 0.1;
/// A window that the pictures will be made for leaves more, for whatever else the user looks at.
constexpr double shareOfFreeWindow = 0.75;

constexpr std::uint64_t hintMilliseconds = 3000;
/// Without a further change of its size for so long, a window has settled: its user has let go of its edge.
constexpr std::uint64_t settleMilliseconds = 400;

/// What other threads ask of the window's.
enum class Call : std::int32_t { Wake, Stop };

void push(Call call) {
  SDL_Event event{};
  event.type = SDL_USEREVENT;
  event.user.code = static_cast<std::int32_t>(call);
  SDL_PushEvent(&event);  // if no more events fit, the window is awake anyway
}

bool isStop(const SDL_Event& event) {
  return event.type == SDL_USEREVENT && event.user.code == static_cast<std::int32_t>(Call::Stop);
}

/// A mouse reports up to a thousand motions a second: of those that wait already, the last is enough.
bool isOvertaken(const SDL_Event& event) {
  SDL_Event next;
  return event.type == SDL_MOUSEMOTION && SDL_PeepEvents(&next, 1, SDL_PEEKEVENT, SDL_FIRSTEVENT, SDL_LASTEVENT) == 1 &&
         next.type == SDL_MOUSEMOTION;
}

std::string clipboard() {
  char* const text = SDL_GetClipboardText();
  std::string result = text ? text : "";
  SDL_free(text);
  return result;
}

Error sdlError() {
  return {"SDL", 0, SDL_GetError()};
}

/// Mesa's OpenGL without a graphics card costs several times what SDL's own drawing does.
bool isDrawnByProcessor() {
  using GetString = const unsigned char* (*)(unsigned);
  constexpr unsigned nameOfRenderer = 0x1F01;  // GL_RENDERER
  const auto getString = reinterpret_cast<GetString>(SDL_GL_GetProcAddress("glGetString"));
  const unsigned char* const text = getString && SDL_GL_GetCurrentContext() ? getString(nameOfRenderer) : nullptr;
  const std::string_view driver = text ? reinterpret_cast<const char*>(text) : "";
  return driver.starts_with("llvmpipe") || driver.starts_with("softpipe");
}

SdlHandle<SDL_Renderer> makeRenderer(SDL_Window* window) {
  SdlHandle<SDL_Renderer> renderer(SDL_CreateRenderer(window, -1, 0));
  if (renderer && !isDrawnByProcessor()) return renderer;
  renderer = nullptr;  // a window has one at a time
  renderer.reset(SDL_CreateRenderer(window, -1, SDL_RENDERER_SOFTWARE));
  return renderer;
}

/// Without a desktop, SDL draws into memory.
bool isSeen() {
  const std::string_view driver = SDL_GetCurrentVideoDriver();
  return driver != "offscreen" && driver != "dummy";
}

}  // namespace

struct WindowScreen::Window {
  struct Library {
    bool isReady = false;
    Library() {
      SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");  // they are the main queue's
      SDL_SetHint(SDL_HINT_MOUSE_AUTO_CAPTURE, "0");  // a finger beyond the screen's edge touches nothing
      SDL_SetHint(SDL_HINT_MOUSE_FOCUS_CLICKTHROUGH, "1");
      SDL_SetHint(SDL_HINT_TOUCH_MOUSE_EVENTS, "0");       // fingers are fingers
      SDL_SetHint(SDL_HINT_VIDEO_ALLOW_SCREENSAVER, "1");  // but while pictures come
      SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
      SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "0");  // a software renderer is not presented by OpenGL
      isReady = SDL_Init(SDL_INIT_VIDEO) == 0;
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library() { SDL_Quit(); }
  };

  Library library;
  SdlHandle<SDL_Window> window;
  SdlHandle<SDL_Renderer> renderer;
  std::optional<WindowPicture> picture;
  std::optional<WindowText> text;
};

WindowScreen::WindowScreen(Output output)
    : output_(std::move(output)),
      pointer_([this](const std::string& message) { output_.didTakeInput(MessageType::touchEvent, message); }),
      fingers_(
          [this](const std::string& message) { output_.didTakeInput(MessageType::touchEvent, message); },
          [](std::int64_t device) { return SDL_GetTouchDeviceType(device) == SDL_TOUCH_DEVICE_INDIRECT_RELATIVE; }),
      keys_([this](const std::string& message) { output_.didTakeInput(MessageType::keyEvent, message); }, clipboard) {}

WindowScreen::~WindowScreen() = default;

std::optional<Error> WindowScreen::open(const Options& options) {
  window_ = std::make_unique<Window>();
  if (!window_->library.isReady) return sdlError();
  if (!isSeen()) return Error{"SDL", 0, "there is no display: neither DISPLAY nor WAYLAND_DISPLAY leads to one"};
  SDL_Rect screen{0, 0, 1280, 800};
  SDL_GetDisplayUsableBounds(0, &screen);
  const double scale = std::min({1.0, (1 - freeShare) * screen.w / static_cast<double>(options.size.width),
                                 (1 - freeShare) * screen.h / static_cast<double>(options.size.height)});
  const auto side = [&](int ofScreen, std::int64_t ofPicture) {
    const double length = options.isFree ? ofScreen * shareOfFreeWindow : static_cast<double>(ofPicture) * scale;
    return std::max(1, static_cast<int>(length));
  };
  const std::uint32_t flags = SDL_WINDOW_RESIZABLE | SDL_WINDOW_ALLOW_HIGHDPI;
  window_->window.reset(SDL_CreateWindow("", SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED,
                                         side(screen.w, options.size.width), side(screen.h, options.size.height),
                                         flags));
  if (!window_->window) return sdlError();
  window_->renderer = makeRenderer(window_->window.get());
  if (!window_->renderer) return sdlError();
  onDisplayLoss([this] { output_.didLoseDisplay(); });
  window_->picture.emplace(window_->renderer.get(), options.size);
  window_->text.emplace(window_->renderer.get());
  pointer_.setPictureSize(options.size);
  fingers_.setPictureSize(options.size);
  isFree_ = options.isFree;
  if (isFree_) settleTime_ = SDL_GetTicks64();
  if (options.fullScreen) setFullScreen(true);
  updateTitle();
  return std::nullopt;
}

void WindowScreen::run() {
  for (SDL_Event event;;) {
    bool hasEvent = SDL_WaitEventTimeout(&event, millisecondsToWait()) != 0;
    for (; hasEvent; hasEvent = SDL_PollEvent(&event) != 0) {
      if (!handle(event)) return;
    }
    fetch();
    doWhatIsDue();
    if (isOutdated_) draw();
  }
}

void WindowScreen::wake() {
  push(Call::Wake);
}

void WindowScreen::stop() {
  push(Call::Stop);
}

/// False: it was the last one.
bool WindowScreen::handle(const SDL_Event& event) {
  if (isStop(event)) return false;
  if (isOvertaken(event)) return true;
  const bool isOwnKey = event.type == SDL_KEYDOWN && event.key.repeat == 0;
  if (isOwnKey) handleKey(event.key.keysym.sym);
  pointer_.handle(event);
  fingers_.handle(event);
  prompt_.isAsking() ? handleAnswer(event) : keys_.handle(event);
  if (isOwnKey && event.key.keysym.sym == SDLK_F9) {
    hint(pointer_.isTrackpad() ? "The mouse is a trackpad. F9: a finger again" : "The mouse is a finger");
  }
  if (event.type == SDL_QUIT) output_.didClose("the window is closed");
  if (event.type == SDL_RENDER_TARGETS_RESET || event.type == SDL_RENDER_DEVICE_RESET) isOutdated_ = true;
  if (event.type == SDL_WINDOWEVENT) handleWindow(event);
  return true;
}

void WindowScreen::handleWindow(const SDL_Event& event) {
  switch (event.window.event) {
    case SDL_WINDOWEVENT_SIZE_CHANGED:
      if (isFree_) settleTime_ = SDL_GetTicks64() + settleMilliseconds;
      isOutdated_ = true;
      return window_->picture->fit();
    case SDL_WINDOWEVENT_EXPOSED:
    case SDL_WINDOWEVENT_SHOWN:
    case SDL_WINDOWEVENT_RESTORED:
      isOutdated_ = true;
      return output_.visibilityDidChange(true);
    case SDL_WINDOWEVENT_HIDDEN:
    case SDL_WINDOWEVENT_MINIMIZED:
      return output_.visibilityDidChange(false);
    default:
      return;
  }
}

void WindowScreen::handleKey(int key) {
  if (key == SDLK_F8) {
    showsStatistics_ = !showsStatistics_;
    isOutdated_ = true;
  }
  if (key == SDLK_F10) turn();
  if (key == SDLK_F11) setFullScreen(!isFullScreen_);
}

void WindowScreen::handleAnswer(const SDL_Event& event) {
  isOutdated_ = isOutdated_ || event.type == SDL_KEYDOWN || event.type == SDL_TEXTINPUT;
  if (const auto answer = prompt_.handle(event)) output_.didAnswer(*answer);
}

void WindowScreen::fetch() {
  const LinkStatus linkBefore = contents_.link;
  const std::string noticeBefore = contents_.notice;
  const auto questionBefore = contents_.question;
  if (output_.takeContents(contents_)) {
    const bool isLinkNew = contents_.link != linkBefore;
    if (isLinkNew && linkBefore.state == State::Connected) isPictureOld_ = true;
    const bool isNoticeNew = contents_.notice != noticeBefore;
    if (isLinkNew || isNoticeNew || contents_.question != questionBefore || showsStatistics_) isOutdated_ = true;
    prompt_.ask(contents_.question);
    setScreenMayBlank(window_->window.get(), contents_.link.state != State::Connected);
    updateTitle();
  }
  if (!output_.takePicture(picture_)) return;
  if (!window_->picture->set(picture_)) window_->picture->clear();
  pointer_.setPictureSize(picture_.size);
  fingers_.setPictureSize(picture_.size);
  isPictureOld_ = false;
  isOutdated_ = true;
  updateTitle();
}

/// In full screen the window stays as it is.
void WindowScreen::turn() {
  if (!isFullScreen_) {
    int width = 0;
    int height = 0;
    SDL_GetWindowSize(window_->window.get(), &width, &height);
    SDL_Rect screen{0, 0, height, width};
    SDL_GetDisplayUsableBounds(std::max(0, SDL_GetWindowDisplayIndex(window_->window.get())), &screen);
    const double scale = std::min({1.0, screen.w / static_cast<double>(height), screen.h / static_cast<double>(width)});
    SDL_SetWindowSize(window_->window.get(), static_cast<int>(height * scale), static_cast<int>(width * scale));
  }
  if (!isFree_) output_.wantsTurn();
}

void WindowScreen::setFullScreen(bool isOn) {
  SDL_Window* const window = window_->window.get();
  if (SDL_SetWindowFullscreen(window, isOn ? SDL_WINDOW_FULLSCREEN_DESKTOP : 0) != 0) return hint(SDL_GetError());
  isFullScreen_ = isOn;
  SDL_SetWindowKeyboardGrab(window, isOn ? SDL_TRUE : SDL_FALSE);
  SDL_SetWindowMouseGrab(window, isOn ? SDL_TRUE : SDL_FALSE);
  hint(isOn ? "Keyboard and mouse are the other computer's. F11 gives them back" : "Keyboard and mouse are given back");
}

void WindowScreen::hint(std::string text) {
  hint_ = std::move(text);
  hintEnd_ = SDL_GetTicks64() + hintMilliseconds;
  isOutdated_ = true;
}

/// Until something is due; -1: nothing is.
int WindowScreen::millisecondsToWait() const {
  std::optional<std::uint64_t> next = hintEnd_;
  if (settleTime_ && (!next || *settleTime_ < *next)) next = settleTime_;
  if (!next) return -1;
  const std::uint64_t now = SDL_GetTicks64();
  return *next > now ? static_cast<int>(*next - now) : 0;
}

void WindowScreen::doWhatIsDue() {
  const std::uint64_t now = SDL_GetTicks64();
  if (hintEnd_ && *hintEnd_ <= now) {
    hintEnd_ = std::nullopt;
    isOutdated_ = true;
  }
  if (settleTime_ && *settleTime_ <= now) {
    settleTime_ = std::nullopt;
    int width = 0;
    int height = 0;
    SDL_GetRendererOutputSize(window_->renderer.get(), &width, &height);
    output_.didSettle({width, height});
  }
}

void WindowScreen::draw() {
  isOutdated_ = false;
  window_->picture->draw();
  window_->picture->outside([this] { drawWords(); });
  SDL_RenderPresent(window_->renderer.get());
}

void WindowScreen::drawWords() {
  if (!window_->picture->isEmpty() && isPictureOld_) {
    constexpr std::uint8_t shade = 150;
    SDL_SetRenderDrawBlendMode(window_->renderer.get(), SDL_BLENDMODE_BLEND);
    SDL_SetRenderDrawColor(window_->renderer.get(), 0, 0, 0, shade);
    SDL_RenderFillRect(window_->renderer.get(), nullptr);
  }
  const bool isPictureTrue = !window_->picture->isEmpty() && !isPictureOld_;
  window_->text->write(windowWords(contents_, prompt_.lines(), isPictureTrue), WindowText::Place::Middle);
  if (showsStatistics_) window_->text->write(contents_.statistics, WindowText::Place::TopLeft);
  if (hintEnd_) window_->text->write({hint_}, WindowText::Place::Bottom);
}

void WindowScreen::updateTitle() {
  const auto size = window_->picture->isEmpty() ? std::nullopt : std::optional(window_->picture->size());
  const std::string title = windowTitle(contents_.link, size);
  if (title != SDL_GetWindowTitle(window_->window.get())) SDL_SetWindowTitle(window_->window.get(), title.c_str());
}

}  // namespace tandemview
