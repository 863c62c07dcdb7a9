#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "input/EventSystem.h"
#include "platform/linux/keys/KeyChord.h"

namespace tandemview {

struct X11Text {
  std::u32string characters;
  KeyModifiers modifiers = KeyModifier::none;
  std::size_t typed = 0;  // how many of them
};

/// Clicks of the wheel: upwards and to the left if positive.
struct X11Wheel {
  static constexpr std::int64_t mostClicks = 200;  // of one event: further than any page is high

  std::int64_t vertical = 0;
  std::int64_t horizontal = 0;
  KeyModifiers modifiers = KeyModifier::none;
};

using X11Input = std::variant<X11Text, KeyChord, MouseEvent, X11Wheel>;

/// What has been posted and can't be carried out yet, in its order, bounded.
class X11InputQueue {
 public:
  bool isEmpty() const { return waiting_.empty(); }

  /// Whether more waits than any hand can have done. To be emptied then, before anything is added.
  bool isFlooded() const;

  /// Of several movements only the last counts; texts and clicks of the wheel are joined.
  void add(X11Input input, double now);

  X11Input& front() { return waiting_.front().input; }
  /// The first character of the text at the front has been typed.
  void finishCharacter();
  void finishFront();

  /// Whether it holds anything of the pointer's, and where that takes it.
  bool holdsPointerInput() const;
  std::optional<ScreenPoint> pointerPlace() const;

  /// Drops the text at the front when something else has waited behind it for too long. Returns how many characters
  /// that are.
  std::size_t dropTextBeforeOthers(double now);

  /// Empties it. Returns the buttons whose release is among what is dropped.
  std::vector<MouseButton> clear();

 private:
  struct Waiting {
    X11Input input;
    double since = 0;
  };

  bool joinsLast(const X11Input& input);

  std::deque<Waiting> waiting_;
  std::size_t characters_ = 0;  // that wait
};

}  // namespace tandemview
