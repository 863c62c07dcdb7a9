#include "runtime/Stream.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <thread>

#include "fakes/ManualQueue.h"
#include "support/SocketPair.h"

namespace tandemview {
namespace {

using Lines = std::vector<std::string>;

class StreamTest : public testing::Test {
 protected:
  void open() {
    pair = SocketPair();
    stream = *Stream::adopting(std::move(pair.ours), queue, [this] { ++cleanups; });
  }
  void read(std::size_t length) {
    stream->read(length, [this](std::optional<Error> error, const Data& data) {
      results.push_back(error ? "error " + std::to_string(error->code) : std::string(data.text()));
    });
  }

  std::shared_ptr<ManualQueue> queue = ManualQueue::make();
  SocketPair pair;
  std::shared_ptr<Stream> stream;
  Lines results;
  int cleanups = 0;
};

std::size_t virtualMemory() {
  std::ifstream statistics("/proc/self/statm");
  std::size_t pages = 0;
  statistics >> pages;
  return pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

TEST_F(StreamTest, AnAnnouncedLengthAllocatesNothing) {
  open();
  const std::size_t before = virtualMemory();
  if (before == 0) GTEST_SKIP() << "this system doesn't tell in /proc how much memory a process has";
  read(0xFFFFFFFF);
  pair.send("only this");
  queue->drain();
  EXPECT_LT(virtualMemory(), before + 64 * 1024 * 1024);
  pair.hangUp();
  queue->drain();
  EXPECT_EQ(results, Lines{"only this"});
}

TEST_F(StreamTest, WritesMoreThanTheSocketTakesAndReadsItBack) {
  open();
  std::string text(3'000'000, ' ');
  for (std::size_t index = 0; index < text.size(); ++index) text[index] = static_cast<char>('a' + index % 23);
  Data pieces;
  for (std::size_t begin = 0; begin < text.size(); begin += 7001) {
    pieces = pieces.joinedWith(Data::copying(std::string_view(text).substr(begin, 7001)));
  }
  read(text.size());
  std::thread writer([&] { pair.send(text); });
  EXPECT_TRUE(queue->drainUntil([&] { return !results.empty(); }));
  writer.join();
  EXPECT_TRUE(results.front() == text);

  bool isWritten = false;
  stream->write(pieces, [&](const std::optional<Error>& error) { isWritten = !error; });
  stream->close();
  const std::weak_ptr<Stream> closing = std::exchange(stream, nullptr);
  std::string received;
  std::thread reader([&] {
    std::string buffer(100'000, ' ');
    while (received.size() < text.size()) {
      const ssize_t count = ::read(pair.theirs.get(), buffer.data(), buffer.size());
      if (count <= 0) break;
      received.append(buffer, 0, static_cast<std::size_t>(count));
    }
  });
  EXPECT_TRUE(queue->drainUntil([&] { return isWritten && cleanups == 1; })) << "though its owner has let go";
  reader.join();
  EXPECT_TRUE(received == text);
  EXPECT_TRUE(closing.expired());
}

TEST_F(StreamTest, ManySmallReadsGrowNoStackAndLetOtherWorkHaveItsTurn) {
  open();
  int count = 0;
  int servedByThen = 0;
  std::function<void(std::optional<Error>, Data)> next = [&](const std::optional<Error>&, const Data& data) {
    if (data.empty()) return;
    if (++count == 100'000) queue->async([&] { servedByThen = count - 100'000; });
    stream->read(1, next);
  };
  stream->read(1, next);
  std::thread writer([&] {
    for (int turn = 0; turn < 100; ++turn) pair.send(std::string(2000, 'x'));
  });
  EXPECT_TRUE(queue->drainUntil([&] { return count == 200'000; }));
  writer.join();
  EXPECT_LT(servedByThen, 16);
}

TEST_F(StreamTest, CloseLetsWritesFinishAndStopCancels) {
  open();
  Lines outcomes;
  const auto record = [&](const std::optional<Error>& error) {
    outcomes.push_back(error ? std::to_string(error->code) : "written");
  };
  stream->write(Data::copying("bye"), record);
  stream->close();
  stream->write(Data::copying("too late"), record);
  read(1);
  queue->drain();
  EXPECT_EQ(outcomes, (Lines{"written", std::to_string(ECANCELED)}));
  EXPECT_EQ(cleanups, 1);

  open();
  read(5);
  stream->close();
  queue->advance(4.9);
  EXPECT_EQ(cleanups, 1) << "a graceful close waits for the read";
  queue->advance(0.2);
  EXPECT_EQ(cleanups, 2) << "but not for ever";
  stream->stop();
  queue->drain();
  EXPECT_EQ(cleanups, 2);
  EXPECT_EQ(results, Lines(2, "error " + std::to_string(ECANCELED)));

  open();
  read(5);
  stream->close();
  pair.send("hello");
  queue->drain();
  EXPECT_EQ(cleanups, 3) << "at once when nothing is left to do";
  EXPECT_EQ(results.back(), "hello");
}

TEST_F(StreamTest, TakesOverOnlyWhatTheQueueCanWatch) {
  const auto watch = queue->watch(pair.ours.get());
  const auto refused = Stream::adopting(std::move(pair.ours), queue, [this] { ++cleanups; });
  EXPECT_EQ(refused.error(), posixError(EEXIST));
  queue->drain();
  EXPECT_EQ(cleanups, 0);
}

TEST(SocketTest, APathThatFitsNoAddressIsRefused) {
  const std::string path(200, 'x');
  EXPECT_EQ(connectedUnixSocket(path).error(), posixError(ENAMETOOLONG));
  EXPECT_EQ(listeningUnixSocket(path).error(), posixError(ENAMETOOLONG));
}

TEST_F(StreamTest, AGonePeerIsAnErrorNotASignal) {
  open();
  stream->write(Data::copying("unread"), nullptr);
  read(1);
  pair.hangUp();
  queue->drain();
  EXPECT_EQ(results, Lines{"error " + std::to_string(ECONNRESET)});
  std::optional<Error> failure;
  stream->write(Data::copying("hello"), [&](const std::optional<Error>& error) { failure = error; });
  queue->drain();
  EXPECT_EQ(failure, posixError(EPIPE));
}

}  // namespace
}  // namespace tandemview
