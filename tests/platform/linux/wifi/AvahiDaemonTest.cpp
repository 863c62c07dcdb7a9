// What the real Avahi daemon does not do on request, played by a stand-in.

#include <algorithm>
#include <future>

#include "platform/linux/wifi/WiFiNetworkFixture.h"
#include "support/AvahiStandIn.h"
#include "support/HastyQueue.h"
#include "support/PrivateBus.h"

namespace tandemview {
namespace {

class AvahiDaemonTest : public WiFiNetworkFixture {
 protected:
  void SetUp() override {
    bus.start();
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().c_str(), 1);
    daemon.emplace(bus.address());
    WiFiNetworkFixture::SetUp();
    useQueue(std::make_shared<HastyQueue>(thread));
  }
  void browse() { WiFiNetworkFixture::browse("_scrstream._tcp"); }
  bool becomesReady() {
    return eventually([&] { return readyCount > 0; });
  }
  /// Within far less time than a call may take.
  bool queueServesWork() const {
    std::promise<void> served;
    queue->async([&] { served.set_value(); });
    return served.get_future().wait_for(std::chrono::milliseconds(500)) == std::future_status::ready;
  }

  PrivateBus bus;
  std::optional<AvahiStandIn> daemon;
};

TEST_F(AvahiDaemonTest, BelievesTheDaemonAlone) {
  browse();
  ASSERT_TRUE(becomesReady());
  Stranger impostor(bus.address());
  for (const std::string& newOwner : {impostor.name(), std::string()}) {
    impostor.send("/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged", "org.freedesktop.Avahi", "",
                  newOwner);
    impostor.send(AvahiStandIn::browserPath, AvahiStandIn::browserInterface, "ItemNew", std::int32_t{1},
                  std::int32_t{0}, "ScrRcv-66", AvahiStandIn::serviceType, "local", std::uint32_t{0});
  }
  daemon->tellOfService("ScrRcv-47");
  EXPECT_TRUE(finds({"ScrRcv-47"}));
  EXPECT_EQ(readyCount, 1);
  EXPECT_TRUE(log.take().empty());
}

TEST_F(AvahiDaemonTest, AHungDaemonIsAskedOnceAndHoldsNobodyUp) {
  daemon->behave(AvahiStandIn::Manner::Hangs);
  browse();
  EXPECT_TRUE(Program::within30Seconds([&] {
    EXPECT_TRUE(queueServesWork());
    return log.count(absenceLine) == 1;
  }));
  const Lines calls = daemon->takeCalls();
  EXPECT_EQ(std::ranges::count(calls, "GetState"), std::ssize(calls)) << "nothing more before it answers";
  daemon->behave(AvahiStandIn::Manner::Answers);
  ASSERT_TRUE(becomesReady());

  daemon->tellOfService("ScrRcv-47");
  ASSERT_TRUE(finds({"ScrRcv-47"}));
  daemon->behave(AvahiStandIn::Manner::Hangs);
  connect();
  EXPECT_TRUE(queueServesWork());
  EXPECT_TRUE(eventually([&] { return events.size() == 1; })) << "the attempt fails";
  EXPECT_TRUE(Program::within30Seconds([&] { return log.count(absenceLine) == 2; }));
}

TEST_F(AvahiDaemonTest, ASearchThatIsRefusedIsToldOnceAndTriedAgain) {
  daemon->behave(AvahiStandIn::Manner::Refuses);
  browse();
  Lines calls;
  EXPECT_TRUE(Program::within30Seconds([&] {
    for (std::string& call : daemon->takeCalls()) calls.push_back(std::move(call));
    return std::ranges::count(calls, "ServiceBrowserNew") >= 3;
  }));
  EXPECT_EQ(log.take(), Lines{"⚠️ The Avahi daemon does not search for phones: Too many objects"});
  daemon->behave(AvahiStandIn::Manner::Answers);
  EXPECT_TRUE(becomesReady());
  daemon->takeCalls();
  browser = nullptr;
  EXPECT_TRUE(Program::within30Seconds([&] { return daemon->takeCalls() == Lines{"Free"}; }));
}

}  // namespace
}  // namespace tandemview
