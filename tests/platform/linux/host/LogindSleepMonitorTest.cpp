#include "platform/linux/host/LogindSleepMonitor.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>

#include "fakes/LogRecorder.h"
#include "fakes/ManualQueue.h"
#include "support/LogindStandIn.h"
#include "support/PrivateBus.h"
#include "support/SilentBus.h"
#include "support/Stranger.h"

namespace tandemview {
namespace {

constexpr const char* backLine = "✅ Sleep and wake of the machine are noticed again";

class LogindSleepMonitorTest : public testing::Test {
 protected:
  LogindSleepMonitorTest() {
    for (const char* name : {"NSWorkspaceWillSleepNotification", "NSWorkspaceDidWakeNotification"}) {
      center_->addObserver(name, this, [this, name](const std::any&) {
        posted_.emplace_back(name);
        if (logind_) inhibitorsWhenPosted_ = logind_->inhibitorCount();
      });
    }
  }

  void startMonitor(const std::string& address) {
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
    monitor_ = LogindSleepMonitor::started({.mainQueue = queue_, .notificationCenter = center_, .object = this});
  }

  void startAll() {
    bus_.start();
    logind_.emplace(bus_.address());
    startMonitor(bus_.address());
    ASSERT_TRUE(inhibitorsBecome(1));
  }

  bool postedBecomes(const Lines& names) {
    return queue_->drainUntil([&] { return posted_ == names; });
  }
  bool inhibitorsBecome(std::size_t count) {
    return queue_->drainUntil([&] { return logind_->inhibitorCount() == count; });
  }
  bool linesBecome(std::size_t count) {
    return queue_->advanceUntil([&] {
      for (std::string& line : log_.take()) lines_.push_back(std::move(line));
      return lines_.size() >= count;
    });
  }

  const std::shared_ptr<ManualQueue> queue_ = ManualQueue::make();
  const std::shared_ptr<NotificationCenter> center_ = std::make_shared<NotificationCenter>();
  LogRecorder log_;
  Lines lines_;
  Lines posted_;
  std::size_t inhibitorsWhenPosted_ = 0;
  PrivateBus bus_;
  std::optional<LogindStandIn> logind_;
  std::shared_ptr<LogindSleepMonitor> monitor_;
};

const std::string sleepName = "NSWorkspaceWillSleepNotification";
const std::string wakeName = "NSWorkspaceDidWakeNotification";

TEST_F(LogindSleepMonitorTest, DelaysSleepUntilItsObserversHaveRun) {
  startAll();
  EXPECT_EQ(logind_->inhibitors()->front().get<0>(), "sleep");
  EXPECT_EQ(logind_->inhibitors()->front().get<3>(), "delay");

  // What the program has started must not keep the machine awake either.
  const Program child({"/bin/sleep", "60"}, {});
  Lines expected;
  for (int night = 0; night < 2; ++night) {
    logind_->announceSleep();
    logind_->announceSleep();
    expected.push_back(sleepName);
    EXPECT_TRUE(postedBecomes(expected));
    EXPECT_EQ(inhibitorsWhenPosted_, 1U);
    EXPECT_TRUE(inhibitorsBecome(0));
    logind_->announceWake();
    expected.push_back(wakeName);
    EXPECT_TRUE(postedBecomes(expected));
    EXPECT_TRUE(inhibitorsBecome(1));
  }
  monitor_.reset();
  EXPECT_TRUE(inhibitorsBecome(0));
  EXPECT_EQ(log_.take(), Lines());
}

TEST_F(LogindSleepMonitorTest, OnlyLogindAndTheBusAreBelievedAndNoSignalOfAnotherType) {
  startAll();
  logind_->announce(sdbus::Variant("soon"), "s");
  Stranger stranger(bus_.address());
  for (const bool isAboutToSleep : {true, false}) {
    stranger.send("/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep", isAboutToSleep);
  }
  logind_->announceSleep();
  ASSERT_TRUE(postedBecomes({sleepName}));
  stranger.denyOwner("org.freedesktop.login1");
  logind_->announceWake();
  EXPECT_TRUE(postedBecomes({sleepName, wakeName}));
  EXPECT_TRUE(inhibitorsBecome(1));
  EXPECT_EQ(log_.take(), Lines());
}

TEST_F(LogindSleepMonitorTest, LogindThatEndsWhileAsleepIsAWakeAndIsTakenUpAgain) {
  startAll();
  logind_->announceSleep();
  ASSERT_TRUE(postedBecomes({sleepName}));
  logind_.reset();
  EXPECT_TRUE(postedBecomes({sleepName, wakeName}));
  EXPECT_EQ(log_.take().size(), 1U);

  logind_.emplace(bus_.address());
  EXPECT_TRUE(inhibitorsBecome(1));
  EXPECT_TRUE(queue_->drainUntil([&] { return log_.count(backLine) == 1; }));
  EXPECT_EQ(log_.take().size(), 1U);
  logind_->announceSleep();
  EXPECT_TRUE(postedBecomes({sleepName, wakeName, sleepName}));
}

TEST_F(LogindSleepMonitorTest, LogindThatHangsIsGivenUpAndStillHeard) {
  bus_.start();
  logind_.emplace(bus_.address());
  logind_->hang();
  startMonitor(bus_.address());
  EXPECT_TRUE(linesBecome(1));
  logind_->goOn();
  logind_->announceSleep();
  EXPECT_TRUE(postedBecomes({sleepName}));
}

TEST_F(LogindSleepMonitorTest, BusMayComeAndGo) {
  startMonitor(bus_.address());
  EXPECT_TRUE(linesBecome(1));
  // Each attempt ends in a work; those after the first are silent.
  const int works = queue_->workCount();
  EXPECT_TRUE(queue_->advanceUntil([&] { return queue_->workCount() >= works + 3; }));

  for (std::size_t round = 0; round < 2; ++round) {
    bus_.start();
    logind_.emplace(bus_.address());
    EXPECT_TRUE(linesBecome(2 * round + 2));
    EXPECT_EQ(lines_.back(), backLine);
    EXPECT_TRUE(inhibitorsBecome(1));
    bus_.kill();
    logind_.reset();
    EXPECT_TRUE(linesBecome(2 * round + 3));
    EXPECT_EQ(lines_.back(), "⚠️ Sleep and wake of the machine are not noticed: the system bus is gone");
  }
  EXPECT_EQ(lines_.size(), 5U);
  EXPECT_EQ(posted_, Lines());
}

TEST_F(LogindSleepMonitorTest, SilentBusHoldsNothingUp) {
  const SilentBus silentBus;
  const auto start = std::chrono::steady_clock::now();
  startMonitor(silentBus.address());
  queue_->drainUntil([] { return true; });
  monitor_.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

}  // namespace
}  // namespace tandemview
