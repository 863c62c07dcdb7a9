#include "platform/linux/host/SingleInstance.h"

#include <gtest/gtest.h>
#include <sdbus-c++/sdbus-c++.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>

#include "fakes/LogRecorder.h"
#include "support/PrivateBus.h"
#include "support/QueueDriver.h"
#include "support/SilentBus.h"

namespace tandemview {
namespace {

using Processes = std::vector<ProcessIdentifier>;

/// Where copies of the program may meet, as the environment tells. Empty: it does not.
struct Places {
  std::string sessionBusAddress;
  std::string runtimeDirectory;
};

/// A copy of the program that was there first. It answers on a thread of its own, as another process does.
struct FirstCopy {
  FirstCopy() {
    driver->perform([this] {
      instance = std::make_unique<SingleInstance>(driver->queue(), 0, [this] { ++activations; });
      copies = instance->runningCopies();
    });
  }
  ~FirstCopy() {
    driver->perform([this] { instance.reset(); });
  }

  const std::shared_ptr<QueueDriver> driver = makeSerialQueueDriver();
  std::unique_ptr<SingleInstance> instance;
  std::atomic<int> activations = 0;
  Processes copies;
};

class SingleInstanceTest : public testing::Test {
 protected:
  static void enter(const Places& places) {
    for (const auto& [name, value] : {std::pair("DBUS_SESSION_BUS_ADDRESS", places.sessionBusAddress),
                                      {"XDG_RUNTIME_DIR", places.runtimeDirectory}}) {
      value.empty() ? ::unsetenv(name) : ::setenv(name, value.c_str(), 1);
    }
  }
  std::unique_ptr<SingleInstance> start(const Places& places) {
    enter(places);
    return std::make_unique<SingleInstance>(queue_, /*predecessor=*/0, [] {});
  }

  const Places onBus() { return {.sessionBusAddress = bus_.address()}; }
  const Places inDirectory() { return {.runtimeDirectory = directory_.path()}; }

  const std::shared_ptr<ManualQueue> queue_ = ManualQueue::make();
  TemporaryDirectory directory_;
  PrivateBus bus_;
  LogRecorder log_;
  const ProcessIdentifier self_ = ::getpid();
};

TEST_F(SingleInstanceTest, SecondStartFindsTheFirstUntilThatHasEnded) {
  bus_.start();
  for (const auto& places : {onBus(), inDirectory()}) {
    auto first = start(places);
    EXPECT_EQ(first->runningCopies(), Processes({self_}));
    const auto second = start(places);
    EXPECT_EQ(second->runningCopies(), Processes({self_, self_}));  // both are this test's process
    EXPECT_EQ(second->runningCopies(), Processes({self_, self_}));
    EXPECT_EQ(first->runningCopies(), Processes({self_}));
    // What the first copy has started lives on, as the script does that starts the program anew.
    const Program child({"/bin/sleep", "60"}, {});
    first.reset();
    EXPECT_EQ(start(places)->runningCopies(), Processes({self_}));
  }
  EXPECT_EQ(log_.take(), Lines());
}

TEST_F(SingleInstanceTest, LaterStartsActivateTheFirstThoughTheyMissTheBusOrTheLock) {
  bus_.start();
  const Places both = {.sessionBusAddress = bus_.address(), .runtimeDirectory = directory_.path()};
  for (const auto& [firstPlaces, laterPlaces] :
       {std::pair(both, onBus()), {both, inDirectory()}, {onBus(), both}, {inDirectory(), both}}) {
    enter(firstPlaces);
    const FirstCopy first;
    ASSERT_EQ(first.copies, Processes({self_}));
    for (int count = 1; count <= 2; ++count) {
      const auto later = start(laterPlaces);
      EXPECT_EQ(later->runningCopies(), Processes({self_, self_}));
      EXPECT_TRUE(later->activate(self_));
      const bool meetOnBus = !firstPlaces.sessionBusAddress.empty() && !laterPlaces.sessionBusAddress.empty();
      EXPECT_EQ(first.activations, meetOnBus ? count : 0);
      EXPECT_EQ(log_.take().size(), 1U);
    }
  }
}

TEST_F(SingleInstanceTest, ANameThatSomethingElseHasEndsAStartWithALine) {
  bus_.start();
  const auto squatter = sdbus::createSessionBusConnectionWithAddress(bus_.address());
  squatter->requestName("org.tandemview.Tandemview");
  for (const bool isAnswering : {false, true}) {  // that it knows no such object
    if (isAnswering) squatter->enterEventLoopAsync();
    const auto later = start(onBus());
    EXPECT_EQ(later->runningCopies(), Processes({self_, self_}));
    EXPECT_FALSE(later->activate(self_));
    EXPECT_EQ(log_.take().size(), 1U);
  }
}

TEST_F(SingleInstanceTest, BusThatIsMissingOrSilentLeavesTheDecisionToTheLockFile) {
  const SilentBus silentBus;
  for (const std::string& address : {bus_.address(), silentBus.address(), std::string("nonsense")}) {
    const Places places = {.sessionBusAddress = address, .runtimeDirectory = directory_.path()};
    const auto begin = std::chrono::steady_clock::now();
    const auto first = start(places);
    EXPECT_EQ(first->runningCopies(), Processes({self_}));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4)) << address;
    const auto second = start(places);
    EXPECT_EQ(second->runningCopies().size(), 2U);
    second->activate(self_);
  }
}

TEST_F(SingleInstanceTest, LockFileNamesItsOwner) {
  const auto first = start(inDirectory());
  first->runningCopies();
  const std::string path = directory_.path() + "/tandemview.lock";
  ProcessIdentifier written = 0;
  std::ifstream(path) >> written;
  EXPECT_EQ(written, self_);

  for (const auto& [text, process] : std::vector<std::pair<std::string, ProcessIdentifier>>{
           {"", 0}, {"nonsense", 0}, {"99999999999999999999999999", 0}, {"123", 123}}) {
    std::ofstream(path) << text;
    EXPECT_EQ(start(inDirectory())->runningCopies(), Processes({process, self_})) << text;
  }
}

TEST_F(SingleInstanceTest, WithoutAPlaceToMeetEveryStartIsTheOnlyOne) {
  for (const char* directory : {"", "/nowhere/at/all"}) {
    for (int count = 0; count < 2; ++count) {
      EXPECT_EQ(start({.runtimeDirectory = directory})->runningCopies(), Processes({self_}));
      EXPECT_EQ(log_.take().size(), 1U);
    }
  }
}

TEST_F(SingleInstanceTest, EndOfTheBusCostsOneLine) {
  bus_.start();
  const auto first = start(onBus());
  first->runningCopies();
  queue_->drain();
  bus_.kill();
  EXPECT_TRUE(queue_->drainUntil([&] {
    return log_.count("⚠️ The session bus is gone: other copies of the program are no longer noticed") == 1;
  }));
  queue_->advance(100);
  EXPECT_EQ(log_.take().size(), 1U);
  EXPECT_EQ(first->runningCopies(), Processes({self_}));
}

}  // namespace
}  // namespace tandemview
