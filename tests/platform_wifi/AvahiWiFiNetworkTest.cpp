#include "platform/linux/AvahiWiFiNetwork.h"

#include <netinet/in.h>
#include <poll.h>

#include <algorithm>
#include <array>

#include "platform_wifi/AvahiFixture.h"

namespace tandemview {
namespace {

constexpr const char* absenceLine =
    "⚠️ The Avahi daemon is not there: no phone can be found over Wi-Fi until it is";
constexpr const char* presenceLine = "✅ The Avahi daemon is there";

/// A TCP port of this host: its socket listens, or is only bound and refuses everybody.
class Port {
 public:
  explicit Port(bool listens = true) : socket_(::socket(AF_INET6, SOCK_STREAM, 0)) {
    ::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address_), sizeof(address_));
    socklen_t length = sizeof(address_);
    ::getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&address_), &length);
    if (listens) ::listen(socket_.get(), 8);
  }
  int number() const { return ntohs(address_.sin6_port); }
  Descriptor accept() const {
    pollfd poll{.fd = socket_.get(), .events = POLLIN, .revents = 0};
    return Descriptor(::poll(&poll, 1, 30'000) == 1 ? ::accept(socket_.get(), nullptr, nullptr) : -1);
  }
  void listen() const { ::listen(socket_.get(), 8); }

 private:
  sockaddr_in6 address_{
      .sin6_family = AF_INET6, .sin6_port = 0, .sin6_flowinfo = 0, .sin6_addr = {}, .sin6_scope_id = 0};
  Descriptor socket_;
};

class AvahiWiFiNetworkTest : public AvahiFixture {
 protected:
  void connect() {
    connection = network->makeConnection(results.at(0).endpoint);
    connection->start({.queue = queue,
                       .didBecomeReady = [this] { event("ready"); },
                       .didFail = [this](const Error& error) { event("failed: " + error.localizedDescription()); },
                       .didCancel = [this] { event("cancelled"); }});
  }
  void receive(std::size_t length) {
    connection->receive(length, [this](const WiFiConnection::Received& received) {
      const std::string end = received.error ? " error" : received.streamEnded ? " end" : "";
      event("received " + std::string(received.bytes.contiguous().text()) + end);
    });
  }
  void send(const std::string& text) {
    connection->send(Data::copying(text),
                     [this](const std::optional<Error>& error) { event(error ? "not sent" : "sent"); });
  }
  void event(const std::string& text) {
    note([&] { events.push_back(text); });
  }
  testing::AssertionResult sees(const std::vector<std::string>& expected) {
    if (eventually([&] { return events == expected; })) return testing::AssertionSuccess();
    const std::lock_guard lock(mutex);
    return testing::AssertionFailure() << testing::PrintToString(events);
  }

  std::shared_ptr<WiFiConnection> connection;
  std::vector<std::string> events;  // guarded by the mutex
};

TEST_F(AvahiWiFiNetworkTest, FindsTheServicesOfOneType) {
  startDaemon();
  const Program other = publish("ScrRcv-11", 1, "_http._tcp");
  std::optional<Program> second;
  const Program first = publish("ScrRcv-47", 1);
  browse();
  EXPECT_TRUE(finds({"ScrRcv-47"}));
  second.emplace(std::vector<std::string>{"/usr/bin/avahi-publish", "-s", "ScrRcv-12", "_scrstream._tcp", "2"},
                 Program::Environment());
  EXPECT_TRUE(finds({"ScrRcv-12", "ScrRcv-47"}));
  second.reset();
  EXPECT_TRUE(finds({"ScrRcv-47"}));
  EXPECT_EQ(readyCount, 1);
  EXPECT_EQ(log.take(), std::vector<std::string>{});
}

TEST_F(AvahiWiFiNetworkTest, FailsASearchForNoService) {
  startDaemon();
  browse("nonsense");
  EXPECT_TRUE(eventually([&] { return searchError.has_value(); }));
}

TEST_F(AvahiWiFiNetworkTest, WaitsForTheDaemonAndTheBus) {
  browse();  // a bus, but no daemon
  EXPECT_TRUE(eventually([&] { return log.count(absenceLine) == 1; }));
  startDaemon();
  std::optional<Program> phone;
  const auto announce = [&] {
    phone.emplace(std::vector<std::string>{"/usr/bin/avahi-publish", "-s", "ScrRcv-47", "_scrstream._tcp", "1"},
                  Program::Environment());
  };
  announce();
  EXPECT_TRUE(finds({"ScrRcv-47"}));

  stopDaemon();
  EXPECT_TRUE(finds({}));
  startDaemon();
  announce();
  EXPECT_TRUE(finds({"ScrRcv-47"}));

  bus.kill();
  EXPECT_TRUE(finds({}));
  stopDaemon();  // it does not outlive its bus in good order
  bus.start();
  startDaemon();
  announce();
  EXPECT_TRUE(finds({"ScrRcv-47"}));

  const std::string absent = absenceLine;
  const std::string present = presenceLine;
  EXPECT_EQ(log.take(), (std::vector{absent, present, absent, present, absent, present}));
}

TEST_F(AvahiWiFiNetworkTest, CarriesBytesBothWaysUntilTheOtherEndCloses) {
  startDaemon();
  const Port port;
  const Program phone = publish("ScrRcv-47", port.number());
  browse();
  ASSERT_TRUE(finds({"ScrRcv-47"}));
  connect();
  send("early");  // waits for the link
  Descriptor peer = port.accept();
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

TEST_F(AvahiWiFiNetworkTest, EndsByCancelWithAReportAndByLettingGoWithout) {
  startDaemon();
  const Port port;
  const Program phone = publish("ScrRcv-47", port.number());
  browse();
  ASSERT_TRUE(finds({"ScrRcv-47"}));
  connect();
  const Descriptor first = port.accept();
  ASSERT_TRUE(sees({"ready"}));
  receive(4);
  connection->cancel();
  connection = nullptr;
  EXPECT_TRUE(sees({"ready", "received  error", "cancelled"}));

  note([&] { events.clear(); });
  connect();
  const Descriptor second = port.accept();
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
}

TEST_F(AvahiWiFiNetworkTest, ReportsAServiceAgainThatRefusedTheConnection) {
  startDaemon();
  const Port port(/*listens=*/false);
  const Program phone = publish("ScrRcv-47", port.number());
  browse();
  ASSERT_TRUE(finds({"ScrRcv-47"}));
  connect();
  EXPECT_TRUE(sees({"failed: Connection refused"}));
  const int before = reportCount;
  EXPECT_TRUE(eventually([&] { return reportCount == before + 1; }));
  port.listen();
  connect();
  EXPECT_TRUE(sees({"failed: Connection refused", "ready"}));
}

/// Somebody on the network who says whatever pleases him, in multicast DNS messages (RFC 6762).
class Rogue {
 public:
  Rogue() : socket_(::socket(AF_INET, SOCK_DGRAM, 0)) {
    const int on = 1;
    const int hops = 255;
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_REUSEPORT, &on, sizeof(on));
    ::setsockopt(socket_.get(), IPPROTO_IP, IP_MULTICAST_TTL, &hops, sizeof(hops));
    const ip_mreqn loopback{.imr_multiaddr = {}, .imr_address = {}, .imr_ifindex = 1};
    ::setsockopt(socket_.get(), IPPROTO_IP, IP_MULTICAST_IF, &loopback, sizeof(loopback));
    const sockaddr_in from = address(INADDR_LOOPBACK);
    ::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&from), sizeof(from));
  }

  /// A pointer record to a service of this name, for so many seconds; 0 takes it back.
  void announce(const std::string& name, char seconds) const {
    using namespace std::string_literals;
    const std::string type = "\x0A_scrstream\x04_tcp\x05local\0"s;
    const std::string pointer = static_cast<char>(name.size()) + name + "\xC0\x0C"s;  // and the type, by reference
    const std::string message = "\0\0\x84\0\0\0\0\x01\0\0\0\0"s + type + "\0\x0C\0\x01\0\0\0"s + seconds + '\0' +
                                static_cast<char>(pointer.size()) + pointer;
    const sockaddr_in group = address(0xE00000FB);  // 224.0.0.251
    ::sendto(socket_.get(), message.data(), message.size(), 0, reinterpret_cast<const sockaddr*>(&group),
             sizeof(group));
  }

 private:
  static sockaddr_in address(std::uint32_t host) {
    return {.sin_family = AF_INET, .sin_port = htons(5353), .sin_addr = {htonl(host)}, .sin_zero = {}};
  }

  Descriptor socket_;
};

TEST_F(AvahiWiFiNetworkTest, StaysCalmWhenServicesComeAndGo) {
  startDaemon();
  browse();
  ASSERT_TRUE(eventually([&] { return readyCount == 1; }));
  const Rogue rogue;
  const auto name = [](int number) { return "ScrRcv-\n\x1B[31m💥\\." + std::to_string(number); };
  const auto announceAll = [&](char seconds) {
    for (int number = 0; number < 100; ++number) rogue.announce(name(number), seconds);
  };
  ASSERT_TRUE(Program::within30Seconds([&] {
    announceAll(120);
    const std::lock_guard lock(mutex);
    return results.size() == 100;
  }));

  int before = 0;
  note([&] { before = reportCount; });
  const auto start = std::chrono::steady_clock::now();
  const auto elapsed = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(); };
  for (int turn = 0; elapsed() < 3; ++turn) {
    announceAll(turn % 2 == 0 ? 0 : 120);
    rogue.announce("\xFF\xFE not UTF-8", 120);
    rogue.announce(std::string(63, 'x'), 120);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the rogue's pace
  }
  announceAll(0);
  rogue.announce(std::string(63, 'x'), 0);
  const std::string phoneName = "ScrRcv-47";
  const Program phone = publish(phoneName, 9);
  EXPECT_TRUE(eventually([&] {
    return std::ranges::any_of(results, [&](const auto& result) { return result.serviceName == phoneName; });
  }));
  note([&] { EXPECT_LE(reportCount - before, elapsed() / 0.5 + 1); });
}

TEST_F(AvahiWiFiNetworkTest, LeavesNothingBehindWhenItsQueueEndsFirst) {
  startDaemon();
  const Port port;
  const Program phone = publish("ScrRcv-47", port.number());
  browse();
  ASSERT_TRUE(finds({"ScrRcv-47"}));
  connect();
  ASSERT_TRUE(sees({"ready"}));
  receive(4);
  queue->stopAndJoin();
  connection->cancel();
  browser->cancel();
}

}  // namespace
}  // namespace tandemview
