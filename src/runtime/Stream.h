#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

#include "runtime/Data.h"
#include "runtime/Descriptor.h"
#include "runtime/Error.h"
#include "runtime/Queue.h"

namespace tandemview {

/// A byte stream over a connected socket: whole-length reads and writes that complete on the stream's queue, where
/// all of its operations are called too. Completions never run within the call that asked for them.
class Stream : public std::enable_shared_from_this<Stream> {
 public:
  /// The bytes asked for; fewer if the stream ended on the way, none if it had ended before.
  /// The error is a POSIX one; the bytes are contiguous.
  using ReadCompletion = std::function<void(std::optional<Error>, Data)>;
  using WriteCompletion = std::function<void(std::optional<Error>)>;
  /// Called once, when the stream is closed and all of its operations have completed.
  using Cleanup = std::function<void()>;

  /// Takes over a connected, non-blocking socket. An error, without a clean-up, if the queue can't watch it.
  static Result<std::shared_ptr<Stream>> adopting(Descriptor socket, std::shared_ptr<Queue> queue, Cleanup cleanup);

  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  /// Reads exactly `length` bytes. Memory grows with what arrives, not with what is asked for.
  /// Reads are served in the order of the calls.
  void read(std::size_t length, ReadCompletion completion);

  /// Writes all of `data`, after the writes before it, gathering its segments without copying.
  void write(Data data, WriteCompletion completion);

  /// Closes gracefully: takes no new operations and lets the pending ones finish, for 5 seconds at most.
  void close();

  /// Closes at once: pending operations complete with ECANCELED.
  void stop();

  int descriptor() const { return socket_.get(); }

 private:
  struct Read {
    std::size_t length;
    ReadCompletion completion;
  };
  struct Write {
    Data data;
    std::size_t written;
    WriteCompletion completion;
  };
  enum class State { Open, Closing, Closed };

  Stream(Descriptor socket, std::shared_ptr<Queue> queue, std::unique_ptr<DescriptorWatch> watch, Cleanup cleanup);

  void scheduleReads();
  void serveReads();
  bool advanceRead();
  void growReadBuffer();
  void completeRead(std::optional<Error> error);
  void serveWrites();
  bool advanceWrite();
  void completeWrite(std::optional<Error> error);
  void finishIfIdle();
  void finish();

  Descriptor socket_;
  std::shared_ptr<Queue> queue_;
  std::unique_ptr<DescriptorWatch> watch_;
  Cleanup cleanup_;
  State state_ = State::Open;
  std::shared_ptr<Stream> keepAlive_;  // while closing: its owner may have let go

  std::deque<Read> reads_;
  bool readsAreScheduled_ = false;       // a serveReads() is queued, running, or waits for readiness
  std::shared_ptr<std::byte[]> buffer_;  // of the first read
  std::size_t capacity_ = 0;
  std::size_t filled_ = 0;
  std::size_t longestRead_ = 0;  // what has arrived once is expected again

  std::deque<Write> writes_;
  bool waitsForWritable_ = false;
};

}  // namespace tandemview
