#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "input/EventSystem.h"
#include "platform/linux/gnome/input/GnomeInputQueue.h"
#include "platform/linux/gnome/input/GnomeKeyboard.h"
#include "platform/linux/gnome/input/InputMethod.h"
#include "platform/linux/gnome/input/WaylandKeymap.h"
#include "platform/linux/gnome/session/GnomeSession.h"
#include "runtime/MediaClock.h"
#include "runtime/Queue.h"

namespace tandemview {

/// Input events in a GNOME session, by the compositor's remote desktop. Points are pixels of our display, whose scale
/// is 1, and of the others beyond it. While our display isn't shown, what is posted is dropped.
///
/// A key press goes out as a whole when its key-down is posted: keys and modifiers can't get stuck. A character that
/// all of the user's layouts have is typed by its key; any other, and longer texts, by the input method, or else by
/// those keys that there are. What is posted after a text waits for it, but movements and the wheel alone. The session
/// doesn't tell where the pointer is: it is where it was put last.
class GnomeEventSystem final : public EventSystem, public std::enable_shared_from_this<GnomeEventSystem> {
 public:
  struct Surroundings {
    std::shared_ptr<Queue> queue;  // the one that the system is called from
    std::shared_ptr<const MediaClock> clock;
    std::shared_ptr<const GnomeSession> session;
  };

  /// Called once for a session.
  static std::shared_ptr<GnomeEventSystem> make(Surroundings surroundings);

  /// Lets go of what is held.
  ~GnomeEventSystem() override;

  /// Whoever is on the session's bus may post events.
  bool isTrusted(TrustPrompt /*prompt*/) override { return true; }
  std::shared_ptr<EventSource> makeEventSource() override { return nullptr; }
  void postMouseEvent(const MouseEvent& event) override;
  void postScrollEvent(const ScrollEvent& event) override;
  void postKeyEvent(const KeyEvent& event) override;
  void discardWaitingEvents() override;
  std::optional<ScreenPoint> pointerLocation() override;

  /// The application launcher alone exists; opening it presses its shortcut.
  bool applicationExists(const std::string& path) override;
  void openApplication(const std::string& path, std::function<void(std::optional<Error>)> completion) override;
  void pause(double seconds) override;

 private:
  explicit GnomeEventSystem(Surroundings surroundings);

  void add(GnomeInput input);
  void planTurn(double seconds);
  void takeTurn();
  double secondsToWait();
  bool isOfKeys(const GnomeInput& input) const;
  bool hasKeysFor(const std::u32string& characters) const;
  void carryOut(GnomeInput input);
  void carryOut(const MouseEvent& event);
  void carryOut(const ScrollEvent& event);
  void carryOut(const KeyChord& chord);
  void carryOut(GnomeText text);
  void typeBySystem(std::u32string characters);
  void typeByKeys(const std::u32string& characters);
  std::optional<GnomeKey> keyOf(char32_t character) const;
  std::optional<ScreenRectangle> displayBounds() const;
  void press(MouseButton button);
  void release(MouseButton button);
  void forgetHeld();

  const Surroundings surroundings_;
  const std::shared_ptr<GnomeRemoteDesktop> remoteDesktop_;
  const std::shared_ptr<WaylandKeymap> keymap_;
  const std::shared_ptr<InputMethod> inputMethod_;
  GnomeKeyboard keyboard_;
  GnomeInputQueue waiting_;
  std::uint64_t plannedTurn_ = 0;  // the number of the last one; those before it do nothing
  std::u32string underWay_;        // what the input method has been given
  bool isWaitingForInputMethod_ = false;
  std::set<MouseButton> pressed_;
  std::optional<ScreenPoint> place_;  // of the pointer, from our display's corner
};

}  // namespace tandemview
