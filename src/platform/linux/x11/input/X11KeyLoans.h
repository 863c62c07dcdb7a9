#pragma once

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon.h>

#include <memory>
#include <vector>

#include "platform/linux/x11/input/X11KeyLayout.h"
#include "platform/linux/x11/server/X11Connection.h"

namespace tandemview {

/// Key codes without a meaning, lent to symbols that no key of the layout types. Programs ask what a key means only
/// when they come to its event, some while after it was pressed: a code keeps its symbol until that is long ago. What
/// is lent stands in a property of the root window, where a later run finds it if this one is killed.
class X11KeyLoans {
 public:
  struct Loan {
    xcb_keycode_t key = 0;     // 0: none can be lent
    double secondsToWait = 0;  // until it is worth asking again; 0: it never is
  };

  explicit X11KeyLoans(std::shared_ptr<X11Connection> connection);

  /// Takes away what a run lent that was killed.
  void endLoansOfKilledRun() const;

  /// The layout has changed: only loans that it still shows stand.
  void adopt(const X11KeyLayout& layout);

  /// A key that types `symbol` when pressed at once, `now` being the time in seconds.
  Loan lend(xkb_keysym_t symbol, double now);

  bool isLent(xcb_keycode_t key) const;
  std::vector<xcb_keycode_t> lentKeys() const;

  /// Takes all keys' symbols away, through `connection`.
  void giveBack(const X11Connection& connection);

 private:
  struct Key {
    xcb_keycode_t code = 0;
    xkb_keysym_t symbol = XKB_KEY_NoSymbol;  // none: not lent
    double lastUse = 0;
  };

  void writeLedger() const;

  const std::shared_ptr<X11Connection> connection_;
  const xcb_atom_t ledger_;  // the property's name
  std::vector<Key> keys_;    // the least recently used first, those never used in front
};

}  // namespace tandemview
