#pragma once

#include <functional>
#include <memory>
#include <string>

#include "input/EventSystem.h"
#include "platform/linux/x11/input/X11InputDevices.h"
#include "platform/linux/x11/input/X11InputQueue.h"
#include "platform/linux/x11/input/X11Keyboard.h"
#include "platform/linux/x11/input/X11Pointer.h"
#include "runtime/MediaClock.h"
#include "runtime/Queue.h"

namespace tandemview {

/// Input events through an X server's XTEST extension. A display's ID is its RandR output's; points are pixels.
///
/// A key press goes out as a whole when its key-down is posted: keys and modifiers can't get stuck. Modifiers that the
/// user holds on the real keyboard are let go of around clicks and keys, and Caps Lock is lifted; they stay in force
/// for movements. A character that no key types borrows the meaning of an unused key; when all of those are in recent
/// use, it and what is posted after it wait until one is free. Movements and the wheel alone don't wait for characters.
/// Everything waits while the server doesn't answer.
class X11EventSystem final : public EventSystem, public std::enable_shared_from_this<X11EventSystem> {
 public:
  /// `queue`: the one that the system is called from. `displayName` such as ":77"; empty stands for $DISPLAY. What a
  /// killed run has left behind is put right: buttons and keys that are down, borrowed meanings.
  /// `patience`: for how many seconds a caller waits for a server that doesn't answer.
  X11EventSystem(std::shared_ptr<Queue> queue, std::shared_ptr<const MediaClock> clock, std::string displayName = {},
                 double patience = 0.02);

  /// Releases the buttons that are held and takes borrowed meanings back, even if the connection has broken meanwhile.
  ~X11EventSystem() override;

  bool isTrusted(TrustPrompt prompt) override;
  std::shared_ptr<EventSource> makeEventSource() override { return nullptr; }
  void postMouseEvent(const MouseEvent& event) override;
  void postScrollEvent(const ScrollEvent& event) override;
  void postKeyEvent(const KeyEvent& event) override;
  void discardWaitingEvents() override;
  std::optional<ScreenPoint> pointerLocation() override;
  std::optional<std::uint32_t> activeDisplayCount() override;
  std::optional<std::vector<std::uint32_t>> activeDisplays(std::uint32_t limit) override;
  ScreenRectangle displayBounds(std::uint32_t displayID) override;
  PixelSize displayPixelSize(std::uint32_t displayID) override;

  /// The application launcher alone exists, on desktops whose shortcut for it is known; opening it presses that.
  bool applicationExists(const std::string& path) override;
  void openApplication(const std::string& path, std::function<void(std::optional<Error>)> completion) override;
  void pause(double seconds) override;

 private:
  void add(X11Input input);
  void planTurn(double seconds);
  void takeTurn();
  bool carryOutNow(const X11Input& input);
  double carryOut(const X11Input& input);
  double type(const X11Text& text);
  bool beginStrokes();
  void endStrokes();
  void endLoansAfter(double seconds);
  bool isAlive() const { return connection_ && !connection_->isBroken(); }

  const std::shared_ptr<Queue> queue_;
  const std::shared_ptr<const MediaClock> clock_;
  const std::string displayName_;
  const std::shared_ptr<X11Connection> connection_;  // null without a server, or if it lacks XTEST
  // Null without a connection.
  const std::shared_ptr<X11InputDevices> devices_;
  const std::unique_ptr<X11Keyboard> keyboard_;
  const std::shared_ptr<X11InputState> state_;
  const std::unique_ptr<X11Pointer> pointer_;
  std::int64_t verticalRemainder_ = 0;  // pixels that are not a click of the wheel yet
  std::int64_t horizontalRemainder_ = 0;
  X11InputQueue waiting_;          // while it isn't empty, a turn is planned
  std::uint64_t plannedTurn_ = 0;  // the number of the last one; those before it do nothing
  double lastTyping_ = 0;
  bool endOfLoansIsPlanned_ = false;
};

}  // namespace tandemview
