#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "companion/FrameSize.h"
#include "companion/Picture.h"
#include "companion/WindowContents.h"
#include "companion/WindowFingers.h"
#include "companion/WindowKeys.h"
#include "companion/WindowPointer.h"
#include "companion/WindowPrompt.h"
#include "runtime/Error.h"

namespace tandemview {

/// The window itself: shows pictures, says how it stands with the host, and reads the mouse, the fingers and the
/// keyboard. Everything but the static operations happens on one thread; a program has one such window.
///
/// Its own keys: F8 shows statistics, F9 changes what the mouse is, F10 turns the phone, F11 fills the screen and takes
/// mouse and keyboard, or gives them back.
class WindowScreen {
 public:
  struct Options {
    FrameSize size;       // of the first pictures; the window is made for it
    bool isFree = false;  // the pictures will be made for the window: it takes a size of its own
    bool fullScreen = false;
  };

  struct Output {
    std::function<void(const std::string& reason)> didClose;
    /// From the thread that finds out, which then stands still for ever.
    std::function<void()> didLoseDisplay;
    /// A touch or key message (MessageType) that the phone is to send.
    std::function<void(std::uint32_t type, const std::string& message)> didTakeInput;
    /// What is to be shown now, fetched after wake(). False: nothing new.
    std::function<bool(Picture& picture)> takePicture;
    std::function<bool(WindowContents& contents)> takeContents;
    /// Nobody can see the window, or they can again.
    std::function<void(bool isVisible)> visibilityDidChange;
    /// The user wants the phone turned. A free window turns itself instead.
    std::function<void()> wantsTurn;
    /// A free window has had this size, in pixels, for a while.
    std::function<void(FrameSize size)> didSettle;
    std::function<void(const std::string& answer)> didAnswer;
  };

  explicit WindowScreen(Output output);
  ~WindowScreen();
  WindowScreen(const WindowScreen&) = delete;
  WindowScreen& operator=(const WindowScreen&) = delete;

  std::optional<Error> open(const Options& options);

  /// Serves the window until stop(), or until the system takes it away.
  void run();

  /// From another thread while run() is under way: lets it fetch what is new, or return. That thread may be the one
  /// that finds out that the display is lost.
  static void wake();
  static void stop();

 private:
  struct Window;

  bool handle(const union SDL_Event& event);
  void handleWindow(const union SDL_Event& event);
  void handleKey(int key);
  void handleAnswer(const union SDL_Event& event);
  void fetch();
  void turn();
  void setFullScreen(bool isOn);
  void hint(std::string text);
  int millisecondsToWait() const;
  void doWhatIsDue();
  void draw();
  void drawWords();
  void updateTitle();

  const Output output_;
  std::unique_ptr<Window> window_;
  WindowPointer pointer_;
  WindowFingers fingers_;
  WindowKeys keys_;
  WindowPrompt prompt_;

  bool isFree_ = false;
  bool isFullScreen_ = false;
  bool showsStatistics_ = false;
  bool isOutdated_ = true;     // the picture, or what is written: it has to be drawn again
  bool isPictureOld_ = false;  // of a link that has ended
  Picture picture_;
  WindowContents contents_;
  std::string hint_;
  std::optional<std::uint64_t> hintEnd_;  // in SDL's milliseconds, as the time below
  std::optional<std::uint64_t> settleTime_;
};

}  // namespace tandemview
