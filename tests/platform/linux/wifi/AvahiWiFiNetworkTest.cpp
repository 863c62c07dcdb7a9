#include <netinet/in.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <future>

#include "platform/linux/wifi/WiFiNetworkFixture.h"
#include "runtime/Socket.h"
#include "support/MulticastImpostor.h"
#include "support/PrivateAvahi.h"

namespace tandemview {
namespace {

/// A TCP port of this host that listens.
class LocalPort {
 public:
  LocalPort() { ::listen(socket_.get(), 8); }  // at an address that the system chooses

  int number() const {
    sockaddr_in6 address{};
    socklen_t length = sizeof(address);
    ::getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin6_port);
  }
  /// Nothing if nobody comes within 30 seconds.
  Descriptor accept() const {
    pollfd poll{.fd = socket_.get(), .events = POLLIN, .revents = 0};
    return ::poll(&poll, 1, 30'000) == 1 ? acceptedConnection(socket_.get()) : Descriptor();
  }

 private:
  Descriptor socket_ = newSocket(AF_INET6, SOCK_STREAM);
};

class AvahiWiFiNetworkTest : public WiFiNetworkFixture {
 protected:
  void SetUp() override {
    if (!PrivateAvahi::enter()) GTEST_SKIP() << PrivateAvahi::whyNot;
    avahi.emplace();
    port.emplace();
    ASSERT_TRUE(avahi->startDaemon());
    WiFiNetworkFixture::SetUp();
  }

  /// A phone at the port is found, and a link to it is being made.
  void connectToPhone() {
    phone = PrivateAvahi::publish("ScrRcv-47", port->number());
    browse(PrivateAvahi::serviceType);
    ASSERT_TRUE(finds({"ScrRcv-47"}));
    connect();
  }

  std::optional<PrivateAvahi> avahi;
  std::optional<LocalPort> port;  // once it is inside the private network
  std::unique_ptr<Program> phone;
};

TEST_F(AvahiWiFiNetworkTest, FindsTheServicesOfOneType) {
  const auto other = PrivateAvahi::publish("ScrRcv-11", 1, "_http._tcp");
  const auto first = PrivateAvahi::publish("ScrRcv-47", 1);
  browse(PrivateAvahi::serviceType);
  EXPECT_TRUE(finds({"ScrRcv-47"}));
  auto second = PrivateAvahi::publish("ScrRcv-12", 2);
  EXPECT_TRUE(finds({"ScrRcv-12", "ScrRcv-47"}));
  second.reset();
  EXPECT_TRUE(finds({"ScrRcv-47"}));
  EXPECT_EQ(readyCount, 1);
  EXPECT_EQ(log.take(), std::vector<std::string>{});
  browse("nonsense");
  EXPECT_TRUE(eventually([&] { return searchError.has_value(); }));
}

TEST_F(AvahiWiFiNetworkTest, WaitsForTheDaemonAndTheBus) {
  avahi->stopDaemon();
  browse(PrivateAvahi::serviceType);  // a bus, but no daemon
  EXPECT_TRUE(eventually([&] { return log.count(absenceLine) == 1; }));
  ASSERT_TRUE(avahi->startDaemon());
  phone = PrivateAvahi::publish("ScrRcv-47", 1);
  EXPECT_TRUE(finds({"ScrRcv-47"}));

  avahi->stopDaemon();
  EXPECT_TRUE(finds({}));
  ASSERT_TRUE(avahi->startDaemon());
  phone = PrivateAvahi::publish("ScrRcv-47", 1);
  EXPECT_TRUE(finds({"ScrRcv-47"}));

  avahi->bus.kill();
  EXPECT_TRUE(finds({}));
  avahi->stopDaemon();  // it does not outlive its bus in good order
  avahi->bus.start();
  ASSERT_TRUE(avahi->startDaemon());
  phone = PrivateAvahi::publish("ScrRcv-47", 1);
  EXPECT_TRUE(finds({"ScrRcv-47"}));

  const std::string absent = absenceLine;
  const std::string present = presenceLine;
  EXPECT_EQ(log.take(), (std::vector{absent, present, absent, present, absent, present}));
}

TEST_F(AvahiWiFiNetworkTest, TellsWhoAnnouncesAService) {
  const auto other = PrivateAvahi::publish("ScrRcv-12", 1);
  browse(PrivateAvahi::serviceType);
  ASSERT_TRUE(finds({"ScrRcv-12"}));
  const MulticastImpostor impostor;
  impostor.announce("ScrRcv-47", 120);
  impostor.claim("ScrRcv-47", "phone", 1);
  impostor.claim("ScrRcv-47", "ROGUE", 1);
  ASSERT_TRUE(finds({"ScrRcv-12", "ScrRcv-47"}));
  std::vector<WiFiBrowser::HostNames> hosts;
  // An inquiry tells who has answered in its time: on a busy machine it takes another one.
  EXPECT_TRUE(Program::within30Seconds([&] {
    note([&] { hosts.clear(); });
    queue->async([&] {
      browser->findHosts({results[0].endpoint, results[1].endpoint}, 0.3,
                         [&](const auto& found) { note([&] { hosts = found; }); });
    });
    return eventually([&] { return hosts.size() == 2; }) && hosts[0].size() == 1 && hosts[1].size() == 2;
  }));
  EXPECT_EQ(hosts.back(), (WiFiBrowser::HostNames{"phone.local", "rogue.local"}));
}

TEST_F(AvahiWiFiNetworkTest, NeedsNoTextRecord) {
  const MulticastImpostor impostor;
  browse(PrivateAvahi::serviceType);
  ASSERT_TRUE(eventually([&] { return readyCount == 1; }));
  impostor.settle("phone");
  impostor.claim("ScrRcv-47", "phone", port->number());
  impostor.announce("ScrRcv-47", 120);
  ASSERT_TRUE(finds({"ScrRcv-47"}));
  connect();
  EXPECT_TRUE(port->accept());
  EXPECT_TRUE(sees({"ready"}));
}

TEST_F(AvahiWiFiNetworkTest, CarriesBytesBothWaysUntilTheOtherEndCloses) {
  connectToPhone();
  send("early");  // waits for the link
  Descriptor peer = port->accept();
  ASSERT_TRUE(peer);
  ASSERT_TRUE(sees({"ready", "sent"}));
  std::array<char, 16> bytes{};
  EXPECT_EQ(::recv(peer.get(), bytes.data(), 5, MSG_WAITALL), 5);
  EXPECT_STREQ(bytes.data(), "early");

  receive(4);
  EXPECT_EQ(::send(peer.get(), "abcde", 5, 0), 5);
  EXPECT_TRUE(sees({"ready", "sent", "received abcd"}));
  receive(4);
  peer = Descriptor();
  EXPECT_TRUE(sees({"ready", "sent", "received abcd", "received e end"}));
  send("into the void");  // the first is taken over, and answered with a reset
  ASSERT_TRUE(eventually([&] { return events.size() >= 5; }));
  Program::within30Seconds([&] {
    send("more");
    return eventually([&] { return std::ranges::count(events, "failed: Broken pipe") == 1; });
  });
  EXPECT_EQ(std::ranges::count(events, "cancelled"), 0);
}

TEST_F(AvahiWiFiNetworkTest, EndsByCancelByLettingGoOrWithItsQueue) {
  connectToPhone();
  const Descriptor first = port->accept();
  ASSERT_TRUE(sees({"ready"}));
  receive(4);
  connection->cancel();
  connection = nullptr;
  EXPECT_TRUE(sees({"ready", "received  error", "cancelled"}));

  note([&] { events.clear(); });
  connect();
  const Descriptor second = port->accept();
  ASSERT_TRUE(sees({"ready"}));
  connection = nullptr;
  char byte = 0;
  EXPECT_EQ(::recv(second.get(), &byte, 1, 0), 0);
  EXPECT_TRUE(sees({"ready"}));

  note([&] { events.clear(); });
  std::promise<void> gate;
  queue->async([&] { gate.get_future().wait(); });
  connect();
  connection->cancel();  // before anything has come of it
  gate.set_value();
  EXPECT_TRUE(sees({"cancelled"}));
  send("x");
  EXPECT_TRUE(sees({"cancelled", "not sent"}));

  note([&] { events.clear(); });
  connect();
  ASSERT_TRUE(sees({"ready"}));
  receive(4);
  thread->stopAndJoin();  // whatever is called now leaves nothing behind
  connection->cancel();
  browser->cancel();
}

}  // namespace
}  // namespace tandemview
