#include "platform/linux/gnome/input/GnomeKeyboard.h"

#include <linux/input-event-codes.h>

#include <algorithm>

namespace tandemview {

namespace {

/// For how long a key may be on its way through the input method. With IBus it is some milliseconds; on a machine with
/// ten times more to do than it can, 50 were too few.
constexpr double settleTime = 0.15;  // seconds

struct ModifierKey {
  KeyModifiers modifier;
  std::uint32_t linuxKeyCode;
};

constexpr ModifierKey modifierKeys[] = {{KeyModifier::shift, KEY_LEFTSHIFT},
                                        {KeyModifier::control, KEY_LEFTCTRL},
                                        {KeyModifier::alt, KEY_LEFTALT},
                                        {KeyModifier::super, KEY_LEFTMETA},
                                        {KeyModifier::levelThree, KEY_RIGHTALT}};

}  // namespace

void GnomeKeyboard::plan(const std::optional<GnomeKey>& key, KeyModifiers modifiers) {
  const std::vector<GnomeKey> held = keysOf(modifiers);
  for (const GnomeKey& modifier : held) steps_.push_back({.key = modifier, .isDown = true, .changesModifiers = true});
  if (key) {
    steps_.push_back({.key = *key, .isDown = true, .changesModifiers = key->bringsModifiers});
    steps_.push_back({.key = *key, .isDown = false, .changesModifiers = key->bringsModifiers});
  }
  for (auto modifier = held.rbegin(); modifier != held.rend(); ++modifier)
    steps_.push_back({.key = *modifier, .isDown = false, .changesModifiers = true});
}

double GnomeKeyboard::strike(double now) {
  while (!steps_.empty()) {
    const Step step = steps_.front();
    const double wait = secondsToSettle(now);
    if ((step.changesModifiers || isAfterText_) && wait > 0) return wait;
    isAfterText_ = false;
    steps_.pop_front();
    turn(step.key, step.isDown);
    const bool isKey = !step.changesModifiers || step.key.bringsModifiers;
    if (isKey && step.isDown && isLookedAt_) settled_ = now + settleTime;
  }
  return 0;
}

double GnomeKeyboard::secondsToSettle(double now) const {
  return std::max(settled_ - now, 0.0);
}

void GnomeKeyboard::letTextSettle(double now) {
  settled_ = now + settleTime;
  isAfterText_ = true;
}

void GnomeKeyboard::releaseAll() {
  steps_.clear();
  while (!down_.empty()) turn(down_.back(), false);
}

void GnomeKeyboard::forget() {
  steps_.clear();
  down_.clear();
}

std::vector<GnomeKey> GnomeKeyboard::keysOf(KeyModifiers modifiers) {
  std::vector<GnomeKey> keys;
  for (const ModifierKey& key : modifierKeys) {
    if (modifiers & key.modifier) keys.push_back({.linuxKeyCode = key.linuxKeyCode});
  }
  return keys;
}

void GnomeKeyboard::turn(const GnomeKey& key, bool isDown) {
  if (isDown) {
    down_.push_back(key);
  } else if (const auto held = std::ranges::find(down_, key); held != down_.end()) {
    down_.erase(held);
  }
  if (key.linuxKeyCode != 0) {
    remoteDesktop_->post("NotifyKeyboardKeycode", key.linuxKeyCode, isDown);
  } else {
    remoteDesktop_->post("NotifyKeyboardKeysym", std::uint32_t{key.symbol}, isDown);
  }
}

}  // namespace tandemview
