#include "platform/linux/x11/input/X11InputQueue.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/linux/keys/PostedEvents.h"

namespace tandemview {

namespace {

/// Of characters, as many as the longest message of a phone has. Further ones are dropped.
constexpr std::size_t mostCharacters = 1'000'000;

/// Of everything else, in the few seconds for which it waits at most.
constexpr std::size_t mostEvents = 1000;

/// For how long a click or a shortcut waits for characters before it. Typing them after it might type them somewhere
/// else, and a screen that doesn't react for longer would seem to be dead.
constexpr double longestWait = 5;  // seconds

bool isOfPointer(const X11Input& input) {
  return std::holds_alternative<MouseEvent>(input) || std::holds_alternative<X11Wheel>(input);
}

}  // namespace

bool X11InputQueue::isFlooded() const {
  return waiting_.size() >= mostEvents;
}

void X11InputQueue::add(X11Input input, double now) {
  if (const auto* const text = std::get_if<X11Text>(&input)) {
    if (characters_ + text->characters.size() > mostCharacters) return;
    characters_ += text->characters.size();
  }
  if (!joinsLast(input)) waiting_.push_back({.input = std::move(input), .since = now});
}

void X11InputQueue::finishCharacter() {
  auto& text = std::get<X11Text>(front());
  --characters_;
  if (++text.typed == text.characters.size()) finishFront();
}

void X11InputQueue::finishFront() {
  waiting_.pop_front();
}

bool X11InputQueue::holdsPointerInput() const {
  return std::ranges::any_of(waiting_, isOfPointer, &Waiting::input);
}

std::optional<ScreenPoint> X11InputQueue::pointerPlace() const {
  for (auto waiting = waiting_.rbegin(); waiting != waiting_.rend(); ++waiting) {
    if (const auto* const event = std::get_if<MouseEvent>(&waiting->input)) return event->location;
  }
  return std::nullopt;
}

std::size_t X11InputQueue::dropTextBeforeOthers(double now) {
  std::size_t dropped = 0;
  auto other = waiting_.begin();
  for (; other != waiting_.end(); ++other) {
    const auto* const text = std::get_if<X11Text>(&other->input);
    if (!text) break;
    dropped += text->characters.size() - text->typed;
  }
  if (other == waiting_.end() || now - other->since < longestWait) return 0;
  waiting_.erase(waiting_.begin(), other);
  characters_ -= dropped;
  return dropped;
}

std::vector<MouseButton> X11InputQueue::clear() {
  std::vector<MouseButton> released;
  for (const Waiting& waiting : std::exchange(waiting_, {})) {
    const auto* const event = std::get_if<MouseEvent>(&waiting.input);
    if (event && !isMovement(*event) && !isPress(*event)) released.push_back(event->button);
  }
  characters_ = 0;
  return released;
}

bool X11InputQueue::joinsLast(const X11Input& input) {
  if (waiting_.empty()) return false;
  X11Input& last = waiting_.back().input;
  if (last.index() != input.index()) return false;
  if (auto* const text = std::get_if<X11Text>(&last)) {
    const auto& added = std::get<X11Text>(input);
    if (text->modifiers != added.modifiers) return false;
    text->characters += added.characters;
    return true;
  }
  if (auto* const wheel = std::get_if<X11Wheel>(&last)) {
    const auto& added = std::get<X11Wheel>(input);
    if (wheel->modifiers != added.modifiers) return false;
    const auto joined = [](std::int64_t clicks, std::int64_t more) {
      return std::clamp(clicks + more, -X11Wheel::mostClicks, X11Wheel::mostClicks);
    };
    wheel->vertical = joined(wheel->vertical, added.vertical);
    wheel->horizontal = joined(wheel->horizontal, added.horizontal);
    return true;
  }
  auto* const event = std::get_if<MouseEvent>(&last);
  if (!event || !isMovement(*event) || event->type != std::get<MouseEvent>(input).type) return false;
  *event = std::get<MouseEvent>(input);
  return true;
}

}  // namespace tandemview
