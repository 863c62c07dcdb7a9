#include "runtime/LineWriter.h"

#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>

namespace tandemview {

namespace {

/// False if the reader is gone, or the disk full.
bool writeWhole(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count > 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (count < 0 && errno == EAGAIN) {  // somebody who shares the descriptor has made it so
      pollfd room = {.fd = descriptor, .events = POLLOUT, .revents = 0};
      ::poll(&room, 1, -1);
    } else if (count < 0 && errno != EINTR) {
      return false;
    }
  }
  return true;
}

}  // namespace

struct LineWriter::State {
  explicit State(int output) : descriptor(output) {}

  bool isIdle() const { return lines.empty() && dropped == 0 && !isWriting; }

  const int descriptor;
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<std::string> lines;
  std::size_t bytes = 0;      // of the lines
  std::uint64_t dropped = 0;  // since the first one; nothing is taken until those before it are written
  bool isWriting = false;
  bool isEnding = false;
};

LineWriter::LineWriter(int descriptor) : state_(std::make_shared<State>(descriptor)) {
  // No signal is for this thread. A reader that is gone raises one, which stays with the thread that has written.
  sigset_t all, before;
  sigfillset(&all);  // a macro on macOS
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread([state = state_] { write(*state); }).detach();
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

LineWriter::~LineWriter() {
  const std::lock_guard lock(state_->mutex);
  state_->isEnding = true;
  state_->changed.notify_all();
}

void LineWriter::add(std::string line) {
  line += '\n';
  const std::lock_guard lock(state_->mutex);
  const bool isFull = !state_->lines.empty() && state_->bytes + line.size() > mostWaitingBytes;
  if (isFull || state_->dropped > 0) {
    ++state_->dropped;
    return;
  }
  state_->bytes += line.size();
  state_->lines.push_back(std::move(line));
  state_->changed.notify_all();
}

void LineWriter::finish(double seconds) {
  std::unique_lock lock(state_->mutex);
  state_->changed.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return state_->isIdle(); });
}

void LineWriter::write(State& state) {
  std::unique_lock lock(state.mutex);
  while (true) {
    state.changed.wait(lock, [&] { return state.isEnding || !state.lines.empty() || state.dropped > 0; });
    if (state.isEnding) return;
    std::string line;
    if (state.lines.empty()) {
      line = fmt::format("⚠️ {} lines are missing here: nobody has read what came before\n",
                         std::exchange(state.dropped, 0));
    } else {
      line = std::move(state.lines.front());
      state.lines.pop_front();
      state.bytes -= line.size();
    }
    state.isWriting = true;
    lock.unlock();
    writeWhole(state.descriptor, line);
    lock.lock();
    state.isWriting = false;
    state.changed.notify_all();
  }
}

}  // namespace tandemview
