#pragma once

#include <xcb/xcb.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/linux/x11/server/X11Connection.h"

namespace tandemview {

/// How the pointer, its buttons and the keyboard are, which the server is asked in one go. It may not answer for
/// seconds: somebody has grabbed it, and what then happens to be on its way to it waits for the grab's end, grab
/// control or not. Nobody waits here for longer than the patience lasts.
class X11InputState {
 public:
  struct Keyboard {
    std::uint8_t group = 0;  // the active one, of which the locked one is a part
    std::uint8_t lockedGroup = 0;
    std::uint8_t pressed = 0;  // real modifiers whose keys are down
    std::uint8_t others = 0;   // those that are in force otherwise, Caps Lock aside
    bool hasCapsLock = false;
  };
  struct Place {
    std::int16_t x = 0;
    std::int16_t y = 0;
  };

  /// `testPointer`: the device that XTEST's buttons are those of; 0 if it isn't known. `patience` in seconds.
  X11InputState(std::shared_ptr<X11Connection> connection, std::uint8_t testPointer, bool hasXkb, double patience)
      : connection_(std::move(connection)), testPointer_(testPointer), hasXkb_(hasXkb), patience_(patience) {}

  /// Asks, and waits for the answer. False: none has come yet; asking again then only looks whether it has come.
  bool update();

  /// Whether the server answers, by an answer of just now: to be asked before something small is posted.
  bool isServerAnswering();

  // As of the last answer.
  const std::optional<Place>& pointer() const { return pointer_; }
  const std::optional<Keyboard>& keyboard() const { return keyboard_; }
  /// The button to press so that programs see `button`: users swap buttons, for the left hand or to turn the wheel
  /// round. Absent if none leads to it.
  std::optional<std::uint8_t> buttonFor(std::uint8_t button) const;

 private:
  using Clock = std::chrono::steady_clock;
  using Seconds = std::chrono::duration<double>;

  struct Questions {
    unsigned keyboard = 0;  // the requests' numbers; 0: not asked
    unsigned pointerMap = 0;
    unsigned deviceMap = 0;
    unsigned pointer = 0;  // the last one: when it is answered, all are
  };

  void ask();
  bool hasAnswered(Seconds patience);
  void take(xcb_query_pointer_reply_t* pointer);

  const std::shared_ptr<X11Connection> connection_;
  const std::uint8_t testPointer_;
  const bool hasXkb_;
  const Seconds patience_;
  std::optional<Questions> asked_;
  Clock::time_point lastAnswer_;
  int postsSinceAnswer_ = 0;
  std::optional<Place> pointer_;
  std::optional<Keyboard> keyboard_;
  std::vector<std::uint8_t> pointerMap_;  // what a button becomes, from button 1
  std::vector<std::uint8_t> deviceMap_;
};

}  // namespace tandemview
