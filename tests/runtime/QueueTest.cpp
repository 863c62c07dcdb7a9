#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <future>
#include <thread>

#include "fakes/ManualQueue.h"
#include "runtime/Descriptor.h"
#include "runtime/SerialQueue.h"
#include "runtime/Socket.h"
#include "support/QueueDriver.h"
#include "support/SocketPair.h"

namespace tandemview {
namespace {

TEST(SerialQueueTest, RunsWorksFromManyThreadsOneAtATime) {
  const auto queue = SerialQueue::withThread("test");
  int count = 0;  // unguarded: the queue is the guard
  {
    std::vector<std::future<void>> threads;  // whose ends wait for theirs
    for (int thread = 0; thread < 4; ++thread) {
      threads.push_back(std::async(std::launch::async, [&] {
        for (int turn = 0; turn < 1000; ++turn) queue->async([&] { ++count; });
      }));
    }
  }
  std::promise<void> done;
  queue->after(0.001, [&] { queue->async([&] { done.set_value(); }); });
  ASSERT_EQ(done.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_EQ(count, 4000);
}

TEST(SerialQueueTest, RunsWhereNoDescriptorIsLeft) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers look at memory through a pipe, for which there is no descriptor either";
#endif
  const auto queue = std::make_shared<SerialQueue>();
  std::vector<Descriptor> all;
  while (Descriptor next = Descriptor(::dup(STDIN_FILENO))) all.push_back(std::move(next));
  ASSERT_EQ(errno, EMFILE);
  EXPECT_EQ(connectedUnixSocket("/nowhere").error(), posixError(EMFILE));
  EXPECT_EQ(listeningUnixSocket("/nowhere").error(), posixError(EMFILE));
  bool hasRun = false;
  queue->after(0.001, [&] {
    hasRun = true;
    queue->stop();
  });
  queue->run();
  EXPECT_TRUE(hasRun);
}

TEST(SerialQueueTest, RunsOnTheCallersThreadUntilItIsStoppedAndTellsOfSignals) {
  SerialQueue queue;
  int signals = 0;
  queue.onSignals({SIGUSR1}, [&](int signal) {
    EXPECT_EQ(signal, SIGUSR1);
    if (++signals == 2) return queue.stop();
    std::raise(SIGUSR1);
  });
  queue.async([] { std::raise(SIGUSR1); });
  queue.run();
  EXPECT_EQ(signals, 2);
}

/// The contract of a queue's watches, which the tests' queue keeps as the program's does.
class DescriptorWatchTest : public testing::TestWithParam<MakeQueueDriver> {
 protected:
  void on(const Work& work) { driver->perform(work); }
  const std::shared_ptr<QueueDriver> driver = GetParam()();
  SocketPair pair;
};

INSTANTIATE_TEST_SUITE_P(Queues, DescriptorWatchTest, everyQueue, nameOfQueue);

TEST_P(DescriptorWatchTest, ADescriptorHasOneAtATime) {
  on([&] {
    auto first = driver->queue()->watch(pair.ours.get());
    EXPECT_TRUE(first);
    const auto second = driver->queue()->watch(pair.ours.get());
    ASSERT_FALSE(second);
    EXPECT_EQ(second.error(), posixError(EEXIST));
    *first = nullptr;
    EXPECT_TRUE(driver->queue()->watch(pair.ours.get()));
  });
}

TEST_P(DescriptorWatchTest, WaitsToReadAndToWriteButOnceForEach) {
  std::unique_ptr<DescriptorWatch> watch;
  std::string events;
  on([&] {
    watch = std::move(*driver->queue()->watch(pair.ours.get()));
    watch->whenReadable([&] {
      events += 'r';
      watch->whenReadable([&] { events += 'R'; });  // the wait is over when its work begins
    });
    watch->whenWritable([&] { events += 'w'; });
  });
  ASSERT_TRUE(driver->waitUntil([&] { return events == "w"; }));
  pair.send("x");
  ASSERT_TRUE(driver->waitUntil([&] { return events == "wrR"; }));
  on([&] { watch = nullptr; });

  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(on([&] {
                 const auto twice = std::move(*driver->queue()->watch(pair.ours.get()));
                 twice->whenReadable([] {});
                 twice->whenReadable([] {});
               }),
               "one wait at a time");
}

/// Both are ready at once: the first to run ends the other's watch, whose work is under way to the queue by then.
TEST_P(DescriptorWatchTest, NothingRunsAfterItHasGone) {
  const int rounds = 20;  // which one comes first is the system's choice
  for (int round = 0; round < rounds; ++round) {
    SocketPair other;
    std::unique_ptr<DescriptorWatch> watches[2];
    int runs = 0;
    on([&] {
      watches[0] = std::move(*driver->queue()->watch(pair.ours.get()));
      watches[1] = std::move(*driver->queue()->watch(other.ours.get()));
      for (int index = 0; index < 2; ++index) {
        watches[index]->whenWritable([&, index] {
          ++runs;
          watches[1 - index] = nullptr;
        });
      }
    });
    ASSERT_TRUE(driver->waitUntil([&] { return runs > 0; }));
    on([&] {
      for (auto& watch : watches) watch = nullptr;
    });
    EXPECT_EQ(runs, 1);
  }
}

}  // namespace
}  // namespace tandemview
