#pragma once

#include <memory>
#include <string>

namespace tandemview {

/// Writes lines to a descriptor, in a thread of its own: a reader that has stopped (a full pipe, a terminal after
/// Control+S) stops nobody else. What finds no room among the lines that wait is dropped, and once there is room again,
/// a line in its place says how much that was.
class LineWriter {
 public:
  /// More than a healthy reader ever leaves lying, and nothing beside what the program needs.
  static constexpr std::size_t mostWaitingBytes = 256 << 10;

  /// The descriptor stays the caller's.
  explicit LineWriter(int descriptor);

  /// What is still waiting is dropped; see finish().
  ~LineWriter();

  /// `line` comes without its line break. From any thread.
  void add(std::string line);

  /// Waits until all lines are written, or so long.
  void finish(double seconds);

 private:
  struct State;
  static void write(State& state);

  const std::shared_ptr<State> state_;  // the thread's too: a write that hangs can't be ended
};

}  // namespace tandemview
