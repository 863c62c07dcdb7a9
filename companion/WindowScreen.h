#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "companion/FrameSize.h"
#include "companion/WindowKeys.h"
#include "companion/WindowPointer.h"
#include "runtime/Error.h"

namespace tandemview {

/// The window itself: shows pictures and reads the mouse and the keyboard. Everything but the static operations
/// happens on one thread; a program has one such window.
class WindowScreen {
 public:
  struct Output {
    std::function<void()> didClose;  // by the user
    /// A touch or key message (MessageType) that the phone is to send.
    std::function<void(std::uint32_t type, const std::string& message)> didTakeInput;
    /// Asked for by callForPicture().
    std::function<void(WindowScreen& screen)> isReadyForPicture;
  };

  explicit WindowScreen(Output output);
  ~WindowScreen();
  WindowScreen(const WindowScreen&) = delete;
  WindowScreen& operator=(const WindowScreen&) = delete;

  /// Opens the window for pictures of that size.
  std::optional<Error> open(FrameSize size);

  /// Serves the window until stop(), or until the system takes it away.
  void run();

  /// `pixels`: blue, green, red, unused.
  void show(const std::vector<std::uint8_t>& pixels, FrameSize size, const std::string& status);

  /// From any thread while run() is under way: lets it call isReadyForPicture, or return. False: no more events fit.
  static bool callForPicture();
  static void stop();

 private:
  struct Window;

  void handle(const union SDL_Event& event);
  void setPictureSize(FrameSize size);
  void updateTitle();
  void present();

  const Output output_;
  std::unique_ptr<Window> window_;
  WindowPointer pointer_;
  WindowKeys keys_;
  FrameSize size_;
  std::string status_;
};

}  // namespace tandemview
