#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace tandemview {

/// Threads that help the one that calls. They start when they are first needed and sleep between the calls.
class WorkerTeam {
 public:
  /// `most`: how many threads work at the same time at most, the calling one among them.
  explicit WorkerTeam(std::size_t most) : most_(most) {}
  WorkerTeam(const WorkerTeam&) = delete;
  WorkerTeam& operator=(const WorkerTeam&) = delete;
  ~WorkerTeam();

  std::size_t most() const { return most_; }

  /// Calls `work` with 0 here and meanwhile on `members` - 1 other threads, each with another number below `members`;
  /// returns when all calls have. Whoever has not begun when the call here is done is left out, so `work` is to take
  /// jobs until none is left. Called on one thread at a time.
  void run(std::size_t members, const std::function<void(std::size_t member)>& work);

 private:
  void startHelpers(std::size_t count);
  void help();

  const std::size_t most_;
  std::vector<std::thread> helpers_;

  std::mutex mutex_;  // guards what follows
  std::condition_variable called_;
  std::condition_variable done_;
  const std::function<void(std::size_t)>* work_ = nullptr;
  std::size_t vacancies_ = 0;  // how many helpers are still to begin
  std::size_t working_ = 0;
  bool isEnding_ = false;
};

}  // namespace tandemview
