#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "input/EventSystem.h"
#include "platform/linux/keys/KeyChord.h"

namespace tandemview {

struct GnomeText {
  std::u32string characters;
  KeyModifiers modifiers = KeyModifier::none;
};

using GnomeInput = std::variant<GnomeText, KeyChord, MouseEvent, ScrollEvent>;

/// What has been posted and can't be carried out yet, in its order, bounded.
class GnomeInputQueue {
 public:
  bool isEmpty() const { return waiting_.empty(); }

  /// Whether more waits than any hand can have done. To be emptied then, before anything is added.
  bool isFlooded() const;

  /// Of several movements only the last counts; texts and scrolling are joined.
  void add(GnomeInput input);

  /// What is left of the input that was taken last.
  void addFront(GnomeInput input);

  GnomeInput takeFront();
  const GnomeInput& front() const { return waiting_.front(); }

  bool holdsPointerInput() const;

  /// Empties it. Returns the buttons whose release is among what is dropped.
  std::vector<MouseButton> clear();

 private:
  bool joinsLast(const GnomeInput& input);

  std::deque<GnomeInput> waiting_;
  std::size_t characters_ = 0;  // that wait
};

}  // namespace tandemview
