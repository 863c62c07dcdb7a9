#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "platform/linux/gnome/input/GnomeKeyLayout.h"
#include "platform/linux/gnome/session/GnomeRemoteDesktop.h"

namespace tandemview {

/// Presses a GNOME session's keys.
///
/// The session's input method looks at each key first, and for that long the key is on its way while Shift is already
/// up again: what it means is decided when it arrives. So modifiers change only when the keys before have arrived, and
/// strokes wait their turn here.
class GnomeKeyboard {
 public:
  explicit GnomeKeyboard(std::shared_ptr<GnomeRemoteDesktop> remoteDesktop)
      : remoteDesktop_(std::move(remoteDesktop)) {}

  /// Whether there is an input method.
  void setLookedAt(bool isLookedAt) { isLookedAt_ = isLookedAt; }

  /// Plans one key going down and up while `modifiers` are held.
  void plan(const std::optional<GnomeKey>& key, KeyModifiers modifiers);

  /// Takes the next steps of what is planned, `now` being the time in seconds. Returns for how long to wait before
  /// calling again; 0: all of it is done.
  double strike(double now);

  /// For how long what has been typed may still be on its way.
  double secondsToSettle(double now) const;
  /// A text has been typed that isn't made of keys: the next one has to wait for it.
  void letTextSettle(double now);

  /// Runs `work` while the keys of `modifiers` are down. For the pointer, whose events nothing looks at first.
  template <typename Action>
  void holding(KeyModifiers modifiers, Action action) {
    for (const GnomeKey& key : keysOf(modifiers)) turn(key, true);
    action();
    const auto keys = keysOf(modifiers);
    for (auto key = keys.rbegin(); key != keys.rend(); ++key) turn(*key, false);
  }

  /// Drops what is planned and lets go of all keys.
  void releaseAll();
  /// The same after the session has let go of them.
  void forget();

 private:
  struct Step {
    GnomeKey key;
    bool isDown = false;
    bool changesModifiers = false;
  };

  static std::vector<GnomeKey> keysOf(KeyModifiers modifiers);
  void turn(const GnomeKey& key, bool isDown);

  const std::shared_ptr<GnomeRemoteDesktop> remoteDesktop_;
  std::deque<Step> steps_;
  std::vector<GnomeKey> down_;
  double settled_ = 0;  // when what has been typed will have arrived
  bool isAfterText_ = false;
  bool isLookedAt_ = false;
};

}  // namespace tandemview
