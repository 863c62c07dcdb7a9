#include "platform/linux/gnome/input/GnomeInputQueue.h"

#include <algorithm>
#include <utility>

#include "platform/linux/keys/PostedEvents.h"

namespace tandemview {

namespace {

constexpr std::size_t mostWaitingInputs = 1000;
constexpr std::size_t mostWaitingCharacters = 1'000'000;

const MouseEvent* movementIn(const GnomeInput& input) {
  const auto* const event = std::get_if<MouseEvent>(&input);
  return event && isMovement(*event) ? event : nullptr;
}

std::size_t charactersIn(const GnomeInput& input) {
  const auto* const text = std::get_if<GnomeText>(&input);
  return text ? text->characters.size() : 0;
}

}  // namespace

bool GnomeInputQueue::isFlooded() const {
  return waiting_.size() >= mostWaitingInputs || characters_ >= mostWaitingCharacters;
}

void GnomeInputQueue::add(GnomeInput input) {
  characters_ += charactersIn(input);
  if (waiting_.empty() || !joinsLast(input)) waiting_.push_back(std::move(input));
}

void GnomeInputQueue::addFront(GnomeInput input) {
  characters_ += charactersIn(input);
  waiting_.push_front(std::move(input));
}

GnomeInput GnomeInputQueue::takeFront() {
  GnomeInput input = std::move(waiting_.front());
  waiting_.pop_front();
  characters_ -= charactersIn(input);
  return input;
}

bool GnomeInputQueue::holdsPointerInput() const {
  return std::ranges::any_of(waiting_, [](const GnomeInput& input) {
    return std::holds_alternative<MouseEvent>(input) || std::holds_alternative<ScrollEvent>(input);
  });
}

std::vector<MouseButton> GnomeInputQueue::clear() {
  std::vector<MouseButton> released;
  for (const GnomeInput& input : waiting_) {
    const auto* const event = std::get_if<MouseEvent>(&input);
    if (event && !isMovement(*event) && !isPress(*event)) released.push_back(event->button);
  }
  waiting_.clear();
  characters_ = 0;
  return released;
}

bool GnomeInputQueue::joinsLast(const GnomeInput& input) {
  if (movementIn(input) && movementIn(waiting_.back())) {
    waiting_.back() = input;
    return true;
  }
  auto* const lastScroll = std::get_if<ScrollEvent>(&waiting_.back());
  const auto* const scroll = std::get_if<ScrollEvent>(&input);
  if (lastScroll && scroll && lastScroll->flags == scroll->flags) {
    const auto sum = [](std::int64_t one, std::int64_t other) {
      return static_cast<std::int32_t>(std::clamp<std::int64_t>(one + other, INT32_MIN, INT32_MAX));
    };
    lastScroll->vertical = sum(lastScroll->vertical, scroll->vertical);
    lastScroll->horizontal = sum(lastScroll->horizontal, scroll->horizontal);
    return true;
  }
  auto* const lastText = std::get_if<GnomeText>(&waiting_.back());
  const auto* const text = std::get_if<GnomeText>(&input);
  if (!lastText || !text || lastText->modifiers != text->modifiers) return false;
  lastText->characters += text->characters;
  return true;
}

}  // namespace tandemview
