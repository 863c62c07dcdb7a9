#include "platform/linux/alerts/AlertQueue.h"

namespace tandemview {

namespace {

/// More than anybody has asked for by hand.
constexpr std::size_t mostWaiting = 8;

}  // namespace

void AlertQueue::show(const Alert& alert, std::function<void(int button)> answer) {
  if (waiting_.size() == mostWaiting) return answer(static_cast<int>(alert.buttons.size()) - 1);
  waiting_.push_back({.alert = alert, .answer = std::move(answer)});
  if (waiting_.size() == 1) showFirst();
}

void AlertQueue::showFirst() {
  system_->show(waiting_.front().alert, [weak = weak_from_this()](int button) {
    if (const auto self = weak.lock()) self->firstIsAnswered(button);
  });
}

void AlertQueue::firstIsAnswered(int button) {
  const auto answer = std::move(waiting_.front().answer);
  waiting_.pop_front();
  if (!waiting_.empty()) showFirst();
  answer(button);
}

}  // namespace tandemview
