#include "companion/ScriptRunner.h"

#include <algorithm>
#include <utility>

namespace tandemview {

ScriptRunner::ScriptRunner(std::shared_ptr<Queue> queue, const MediaClock& clock, double startTime,
                           std::vector<ScriptAction> script, Output output)
    : queue_(std::move(queue)),
      clock_(clock),
      startTime_(startTime),
      script_(std::move(script)),
      output_(std::move(output)) {}

void ScriptRunner::schedule(std::size_t next) {
  if (next == script_.size()) return;
  const double delay = std::max(0.0, startTime_ + script_[next].time - clock_.now());
  queue_->after(delay, [this, next] {
    const ScriptAction& action = script_[next];
    output_.perform(action);
    if (action.kind == ScriptAction::Kind::waitForFrame) return waitForFrame(next + 1, action.seconds);
    schedule(next + 1);
  });
}

void ScriptRunner::waitForFrame(std::size_t next, double seconds) {
  wait_ = {next, clock_.now()};
  queue_->after(seconds, [this, next, seconds] {
    if (!wait_ || wait_->next != next) return;
    output_.didMissFrame(seconds);
    endWait();
  });
}

void ScriptRunner::endWait() {
  const Wait wait = *std::exchange(wait_, std::nullopt);
  startTime_ += clock_.now() - wait.since;
  schedule(wait.next);
}

}  // namespace tandemview
