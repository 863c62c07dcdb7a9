#include "platform/linux/picture/WorkerTeam.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <set>

namespace tandemview {
namespace {

TEST(WorkerTeam, DoesEveryJobOnceAndIsDoneWhenItReturns) {
  WorkerTeam team(3);
  for (int turn = 0; turn < 2000; ++turn) {
    std::vector<int> done(static_cast<std::size_t>(turn % 7), 0);  // each written by whoever takes the job
    std::atomic<std::size_t> next = 0;
    team.run(static_cast<std::size_t>(1 + turn % 5), [&](std::size_t member) {
      EXPECT_LT(member, 3U);
      for (std::size_t job = next++; job < done.size(); job = next++) ++done[job];
    });
    EXPECT_EQ(done, std::vector<int>(done.size(), 1));
  }
}

TEST(WorkerTeam, WorksOnAsManyThreadsAsAreWantedAndAllowed) {
  for (const auto& [most, wanted, expected] : {std::array{3, 3, 3}, {3, 9, 3}, {3, 2, 2}, {3, 1, 1}, {1, 3, 1}}) {
    WorkerTeam team(static_cast<std::size_t>(most));
    std::latch allAreHere(expected);
    std::mutex mutex;
    std::set<std::pair<std::size_t, std::thread::id>> members;
    team.run(static_cast<std::size_t>(wanted), [&](std::size_t member) {
      allAreHere.arrive_and_wait();
      const std::lock_guard lock(mutex);
      members.emplace(member, std::this_thread::get_id());
    });
    EXPECT_EQ(members.size(), static_cast<std::size_t>(expected));
    EXPECT_EQ(*members.begin(), std::pair(std::size_t{0}, std::this_thread::get_id()));
  }
}

}  // namespace
}  // namespace tandemview
