#include "runtime/Stream.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

#include "runtime/Weakly.h"

namespace tandemview {

namespace {

/// A read's first buffer: larger than almost every message, small enough to be announced by anybody.
constexpr std::size_t firstCapacity = 256 * 1024;

/// How much one turn on the queue may read before other work gets its chance. On the main queue that is 8 messages of a
/// header and a payload, each a tap that keeps the queue for 10 ms if the worst comes.
constexpr int readsPerTurn = 16;

/// How many segments one system call takes: those of the highest picture that is likely. The system's bound is 1024.
constexpr std::size_t mostGathered = 256;

constexpr double lingerSeconds = 5;

/// A peer that is gone is a write error, never a signal that ends the program.
void ignoreBrokenPipes() {
  [[maybe_unused]] static const auto previous = std::signal(SIGPIPE, SIG_IGN);
}

/// Whether it may work when the socket is ready again.
bool isTemporary(int code) {
  return code == EAGAIN || code == EWOULDBLOCK || code == EINTR;
}

}  // namespace

Result<std::shared_ptr<Stream>> Stream::adopting(Descriptor socket, std::shared_ptr<Queue> queue, Cleanup cleanup) {
  ignoreBrokenPipes();
  Result<std::unique_ptr<DescriptorWatch>> watch = queue->watch(socket.get());
  if (!watch) return tl::unexpected(watch.error());
  return std::shared_ptr<Stream>(
      new Stream(std::move(socket), std::move(queue), std::move(*watch), std::move(cleanup)));
}

Stream::Stream(Descriptor socket, std::shared_ptr<Queue> queue, std::unique_ptr<DescriptorWatch> watch, Cleanup cleanup)
    : socket_(std::move(socket)), queue_(std::move(queue)), watch_(std::move(watch)), cleanup_(std::move(cleanup)) {}

void Stream::read(std::size_t length, ReadCompletion completion) {
  if (state_ != State::Open) {
    queue_->async([completion = std::move(completion)] { completion(posixError(ECANCELED), {}); });
    return;
  }
  reads_.push_back({length, std::move(completion)});
  scheduleReads();
}

void Stream::write(Data data, WriteCompletion completion) {
  if (state_ != State::Open) {
    queue_->async([completion = std::move(completion)] { completion(posixError(ECANCELED)); });
    return;
  }
  writes_.push_back({std::move(data), 0, std::move(completion)});
  if (writes_.size() == 1) serveWrites();
}

void Stream::close() {
  if (state_ != State::Open) return;
  state_ = State::Closing;
  keepAlive_ = shared_from_this();
  queue_->after(lingerSeconds, weakly(this, &Stream::stop));
  finishIfIdle();
}

void Stream::stop() {
  if (state_ == State::Closed) return;
  state_ = State::Closing;
  while (!writes_.empty()) completeWrite(posixError(ECANCELED));
  while (!reads_.empty()) {
    queue_->async([completion = std::move(reads_.front().completion)] { completion(posixError(ECANCELED), {}); });
    reads_.pop_front();
  }
  finishIfIdle();
}

void Stream::scheduleReads() {
  if (readsAreScheduled_) return;
  readsAreScheduled_ = true;
  queue_->async(weakly(this, &Stream::serveReads));
}

void Stream::serveReads() {
  // A completion usually asks for the next read: the loop serves it without growing the stack.
  for (int turn = 0; turn < readsPerTurn && !reads_.empty(); ++turn) {
    if (advanceRead()) continue;
    return watch_->whenReadable(weakly(this, &Stream::serveReads));
  }
  readsAreScheduled_ = false;
  if (!reads_.empty()) scheduleReads();
}

/// One system call for the first read. False: nothing more to be had now.
bool Stream::advanceRead() {
  const std::size_t length = reads_.front().length;
  if (filled_ == capacity_) growReadBuffer();
  const std::size_t wanted = std::min(length, capacity_) - filled_;
  const ssize_t count = wanted == 0 ? 0 : ::read(socket_.get(), buffer_.get() + filled_, wanted);
  if (count < 0 && isTemporary(errno)) return false;
  if (count < 0) {
    completeRead(posixError(errno));
    return true;
  }
  filled_ += static_cast<std::size_t>(count);
  if (count == 0 || filled_ == length) completeRead(std::nullopt);
  return true;
}

void Stream::growReadBuffer() {
  const std::size_t length = reads_.front().length;
  const std::size_t capacity = std::min(length, capacity_ == 0 ? std::max(firstCapacity, longestRead_) : 2 * capacity_);
  std::shared_ptr<std::byte[]> grown(new std::byte[capacity]);
  std::copy_n(buffer_.get(), filled_, grown.get());
  buffer_ = std::move(grown);
  capacity_ = capacity;
}

void Stream::completeRead(std::optional<Error> error) {
  longestRead_ = std::max(longestRead_, filled_);
  const std::span<const std::byte> bytes(buffer_.get(), filled_);
  Data data(std::move(buffer_), bytes);
  capacity_ = 0;
  filled_ = 0;
  const ReadCompletion completion = std::move(reads_.front().completion);
  reads_.pop_front();
  completion(std::move(error), std::move(data));
  finishIfIdle();
}

void Stream::serveWrites() {
  while (!writes_.empty() && !waitsForWritable_) {
    if (advanceWrite()) continue;
    waitsForWritable_ = true;
    watch_->whenWritable(weakly(this, [](Stream& stream) {
      stream.waitsForWritable_ = false;
      stream.serveWrites();
    }));
  }
}

/// One system call for the first write. False: the socket takes nothing more now.
bool Stream::advanceWrite() {
  Write& write = writes_.front();
  std::array<iovec, mostGathered> vectors;
  std::size_t vectorCount = 0;
  std::size_t skipped = write.written;
  for (const Data::Segment& segment : write.data.segments()) {
    if (vectorCount == vectors.size()) break;
    const std::size_t skip = std::min(skipped, segment.bytes.size());
    skipped -= skip;
    if (skip == segment.bytes.size()) continue;
    const std::span<const std::byte> rest = segment.bytes.subspan(skip);
    vectors[vectorCount++] = {const_cast<std::byte*>(rest.data()), rest.size()};
  }
  const ssize_t count = vectorCount == 0 ? 0 : ::writev(socket_.get(), vectors.data(), static_cast<int>(vectorCount));
  if (count < 0 && isTemporary(errno)) return false;
  if (count < 0) {
    completeWrite(posixError(errno));
    return true;
  }
  write.written += static_cast<std::size_t>(count);
  if (write.written == write.data.size()) completeWrite(std::nullopt);
  return true;
}

void Stream::completeWrite(std::optional<Error> error) {
  queue_->async([completion = std::move(writes_.front().completion), error = std::move(error)] {
    if (completion) completion(error);
  });
  writes_.pop_front();
  finishIfIdle();
}

void Stream::finishIfIdle() {
  if (state_ == State::Closing && reads_.empty() && writes_.empty()) finish();
}

void Stream::finish() {
  state_ = State::Closed;
  watch_.reset();
  socket_ = Descriptor();
  // Behind the completions that are still on their way.
  queue_->async([cleanup = std::move(cleanup_)] {
    if (cleanup) cleanup();
  });
  keepAlive_ = nullptr;
}

}  // namespace tandemview
