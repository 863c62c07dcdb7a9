#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/linux/X11Connection.h"
#include "platform/linux/X11KeyChord.h"
#include "platform/linux/X11KeyLayout.h"
#include "platform/linux/X11KeyLoans.h"

namespace tandemview {

/// Presses the server's keys. Each operation is one whole: whatever it presses it also releases, in requests that leave
/// together. Nothing happens without XKB or on a broken connection. The connection's events are the keyboard's.
class X11Keyboard {
 public:
  explicit X11Keyboard(std::shared_ptr<X11Connection> connection);

  /// Around the presses of one turn: begin() asks the server what is held and locked, which they go by.
  void begin();
  void end();

  void press(const X11KeyChord& chord);

  /// Types a character with `modifiers` held beside those that it needs, `now` being the time in seconds. Returns for
  /// how long to wait before trying again; 0: it is done, or impossible.
  double type(char32_t character, X11Modifiers modifiers, double now);

  /// Runs `work` while the keys of `modifiers` are down; not at all if the layout lacks one.
  template <typename Action>
  void holding(X11Modifiers modifiers, Action action) {
    if (modifiers == X11Modifier::none) return action();
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
  struct State {
    std::uint8_t group = 0;
    std::uint8_t held = 0;  // real modifiers that are in force, Caps Lock aside
    bool hasCapsLock = false;
  };

  bool update();
  bool concernsLayout(const xcb_generic_event_t& event) const;
  void readEvents();
  std::optional<State> readState() const;
  void stroke(xcb_keycode_t key, X11Modifiers modifiers);
  void setCapsLock(bool isOn) const;
  void pressKeys(const std::vector<xcb_keycode_t>& keys) const;
  void releaseKeys(const std::vector<xcb_keycode_t>& keys) const;

  const std::shared_ptr<X11Connection> connection_;
  bool hasXkb_ = false;
  std::uint8_t firstEvent_ = 0;
  bool isStale_ = true;
  std::unique_ptr<X11KeyLayout> layout_;
  std::optional<State> state_;  // between begin() and end(), if the server has told
  bool hasLiftedCapsLock_ = false;
  X11KeyLoans loans_;
};

}  // namespace tandemview
