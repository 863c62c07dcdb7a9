#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/linux/keys/KeyChord.h"
#include "platform/linux/x11/input/X11InputDevices.h"
#include "platform/linux/x11/input/X11InputState.h"
#include "platform/linux/x11/input/X11KeyLayout.h"
#include "platform/linux/x11/input/X11KeyLoans.h"
#include "platform/linux/x11/server/X11Connection.h"

namespace tandemview {

/// Presses the server's keys. Each operation is one whole: whatever it presses it also releases, in requests that leave
/// together. Nothing happens without XKB or on a broken connection. The connection's events are the keyboard's.
class X11Keyboard {
 public:
  X11Keyboard(std::shared_ptr<X11Connection> connection, std::shared_ptr<const X11InputDevices> devices);

  /// Whether the server knows of layouts and of what is held.
  bool hasXkb() const { return hasXkb_; }

  /// Lets go of the modifiers that the user holds, on the keyboard where they are held. False: there were none.
  bool releaseHeldModifiers();
  /// Takes them up again.
  void restoreHeldModifiers();

  /// Around the presses of one turn, which go by this state.
  void begin(const std::optional<X11InputState::Keyboard>& state);
  void end();

  void press(const KeyChord& chord);

  /// Types a character with `modifiers` held beside those that it needs, `now` being the time in seconds. Returns for
  /// how long to wait before trying again; 0: it is done, or impossible.
  double type(char32_t character, KeyModifiers modifiers, double now);

  /// Runs `work` while the keys of `modifiers` are down; not at all if the layout lacks one.
  template <typename Action>
  void holding(KeyModifiers modifiers, Action action) {
    if (modifiers == KeyModifier::none) return action();
    if (!update()) return;
    const auto keys = layout_->keysOf(modifiers);
    if (!keys) return;
    pressKeys(*keys);
    action();
    releaseKeys(*keys);
  }

  /// Whether keys have a meaning that is only lent to them.
  bool hasLoans() const { return !loans_.lentKeys().empty(); }

  /// Takes back what a run lent that was killed.
  void endLoansOfKilledRun() const { loans_.endLoansOfKilledRun(); }

  /// Takes lent meanings back, through `connection`.
  void endLoans(const X11Connection& connection) { loans_.giveBack(connection); }

 private:
  struct Locks {
    std::uint8_t group = 0;
    bool capsLock = false;
  };

  bool update();
  bool concernsLayout(const xcb_generic_event_t& event) const;
  void readEvents();
  void stroke(const X11KeyStroke& stroke);
  std::uint8_t activeGroup() const;
  std::uint8_t wrapped(int group) const;
  void lock(const Locks& locks);
  void pressKeys(const std::vector<xcb_keycode_t>& keys) const;
  void releaseKeys(const std::vector<xcb_keycode_t>& keys) const;

  const std::shared_ptr<X11Connection> connection_;
  const std::shared_ptr<const X11InputDevices> devices_;
  bool hasXkb_ = false;
  std::int32_t device_ = 0;  // the keyboard that XTEST's keys are those of
  std::uint8_t firstEvent_ = 0;
  bool isStale_ = true;
  std::unique_ptr<X11KeyLayout> layout_;
  std::optional<X11InputState::Keyboard> state_;  // between begin() and end(), if the server has told
  Locks locks_;                                   // as they are now
  std::vector<X11InputDevices::Key> released_;    // the modifiers that were let go of
  X11KeyLoans loans_;
};

}  // namespace tandemview
