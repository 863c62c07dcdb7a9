#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "companion/Script.h"
#include "runtime/MediaClock.h"
#include "runtime/Queue.h"

namespace tandemview {

/// Does a script's actions at their times, one after the other. Lives on the queue, and longer than that runs.
class ScriptRunner {
 public:
  struct Output {
    std::function<void(const ScriptAction& action)> perform;
    /// The script has waited so long for a frame; it goes on.
    std::function<void(double seconds)> didMissFrame;
  };

  /// The script's clock starts at `startTime` of `clock`.
  ScriptRunner(std::shared_ptr<Queue> queue, const MediaClock& clock, double startTime,
               std::vector<ScriptAction> script, Output output);

  void start() { schedule(0); }

  /// What the script waits for, if it does.
  void frameDidArrive() {
    if (wait_) endWait();
  }

 private:
  struct Wait {
    std::size_t next;  // of the actions
    double since;
  };

  void schedule(std::size_t next);
  void waitForFrame(std::size_t next, double seconds);
  void endWait();

  const std::shared_ptr<Queue> queue_;
  const MediaClock& clock_;
  double startTime_;  // later by all that the script's clock has stood still
  const std::vector<ScriptAction> script_;
  const Output output_;
  std::optional<Wait> wait_;
};

}  // namespace tandemview
