#include "platform/linux/AvahiWiFiNetwork.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <future>
#include <memory>
#include <mutex>
#include <optional>

#include "fakes/LogRecorder.h"
#include "platform_wifi/PrivateAvahi.h"
#include "runtime/SerialQueue.h"

namespace tandemview {
namespace {

constexpr const char* absenceLine =
    "⚠️ The Avahi daemon is not there: no phone can be found over Wi-Fi until it is";
constexpr const char* presenceLine = "✅ The Avahi daemon is there";

/// A TCP port of this host that listens.
class Port {
 public:
  Port() : socket_(::socket(AF_INET6, SOCK_STREAM, 0)) {
    ::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address_), sizeof(address_));
    socklen_t length = sizeof(address_);
    ::getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&address_), &length);
    ::listen(socket_.get(), 8);
  }
  int number() const { return ntohs(address_.sin6_port); }
  Descriptor accept() const {
    pollfd poll{.fd = socket_.get(), .events = POLLIN, .revents = 0};
    return Descriptor(::poll(&poll, 1, 30'000) == 1 ? ::accept(socket_.get(), nullptr, nullptr) : -1);
  }

 private:
  sockaddr_in6 address_{
      .sin6_family = AF_INET6, .sin6_port = 0, .sin6_flowinfo = 0, .sin6_addr = {}, .sin6_scope_id = 0};
  Descriptor socket_;
};

class AvahiWiFiNetworkTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!PrivateAvahi::enter()) GTEST_SKIP() << PrivateAvahi::whyNot;
    avahi.emplace();
    queue = SerialQueue::withThread("network");
    network = std::make_shared<AvahiWiFiNetwork>(queue);
  }
  void TearDown() override {
    if (queue) queue->stopAndJoin();
  }

  /// Starts a search that keeps its findings in `results`.
  void browse(const std::string& type = PrivateAvahi::serviceType) {
    browser = network->makeBrowser(type);
    browser->start({.queue = queue,
                    .didBecomeReady = [this] { note([&] { ++readyCount; }); },
                    .didFail = [this](const Error& error) { note([&] { searchError = error; }); },
                    .didChangeResults =
                        [this](const std::vector<WiFiBrowseResult>& changed) { note([&] { results = changed; }); }});
  }
  bool finds(const std::vector<std::string>& names) {
    return eventually([&] {
      std::vector<std::string> found;
      for (const WiFiBrowseResult& result : results) found.push_back(result.serviceName.value_or(""));
      return found == names;
    });
  }
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
  template <typename Change>
  void note(Change change) {
    const std::lock_guard lock(mutex);
    change();
  }
  template <typename Condition>
  bool eventually(Condition condition) {
    return Program::within30Seconds([&] {
      const std::lock_guard lock(mutex);
      return condition();
    });
  }
  void event(const std::string& text) {
    note([&] { events.push_back(text); });
  }
  testing::AssertionResult sees(const std::vector<std::string>& expected) {
    if (eventually([&] { return events == expected; })) return testing::AssertionSuccess();
    const std::lock_guard lock(mutex);
    return testing::AssertionFailure() << testing::PrintToString(events);
  }

  LogRecorder log;
  std::optional<PrivateAvahi> avahi;
  std::shared_ptr<SerialQueue> queue;
  std::shared_ptr<AvahiWiFiNetwork> network;
  std::shared_ptr<WiFiBrowser> browser;
  std::shared_ptr<WiFiConnection> connection;

  std::mutex mutex;  // guards what follows
  std::vector<WiFiBrowseResult> results;
  int readyCount = 0;
  std::optional<Error> searchError;
  std::vector<std::string> events;
};

TEST_F(AvahiWiFiNetworkTest, FindsTheServicesOfOneType) {
  ASSERT_TRUE(avahi->startDaemon());
  const auto other = PrivateAvahi::publish("ScrRcv-11", 1, "_http._tcp");
  const auto first = PrivateAvahi::publish("ScrRcv-47", 1);
  browse();
  EXPECT_TRUE(finds({"ScrRcv-47"}));
  auto second = PrivateAvahi::publish("ScrRcv-12", 2);
  EXPECT_TRUE(finds({"ScrRcv-12", "ScrRcv-47"}));
  second.reset();
  EXPECT_TRUE(finds({"ScrRcv-47"}));
  EXPECT_EQ(readyCount, 1);
  EXPECT_EQ(log.take(), std::vector<std::string>{});
}

TEST_F(AvahiWiFiNetworkTest, FailsASearchForNoService) {
  ASSERT_TRUE(avahi->startDaemon());
  browse("nonsense");
  EXPECT_TRUE(eventually([&] { return searchError.has_value(); }));
}

TEST_F(AvahiWiFiNetworkTest, WaitsForTheDaemonAndTheBus) {
  browse();  // a bus, but no daemon
  EXPECT_TRUE(eventually([&] { return log.count(absenceLine) == 1; }));
  ASSERT_TRUE(avahi->startDaemon());
  auto phone = PrivateAvahi::publish("ScrRcv-47", 1);
  EXPECT_TRUE(finds({"ScrRcv-47"}));

  avahi->stopDaemon();
  EXPECT_TRUE(finds({}));
  ASSERT_TRUE(avahi->startDaemon());
  phone = PrivateAvahi::publish("ScrRcv-47", 1);
  EXPECT_TRUE(finds({"ScrRcv-47"}));

  PrivateAvahi::bus.kill();
  EXPECT_TRUE(finds({}));
  avahi->stopDaemon();  // it does not outlive its bus in good order
  PrivateAvahi::bus.start();
  ASSERT_TRUE(avahi->startDaemon());
  phone = PrivateAvahi::publish("ScrRcv-47", 1);
  EXPECT_TRUE(finds({"ScrRcv-47"}));

  const std::string absent = absenceLine;
  const std::string present = presenceLine;
  EXPECT_EQ(log.take(), (std::vector{absent, present, absent, present, absent, present}));
}

TEST_F(AvahiWiFiNetworkTest, CarriesBytesBothWaysUntilTheOtherEndCloses) {
  ASSERT_TRUE(avahi->startDaemon());
  const Port port;
  const auto phone = PrivateAvahi::publish("ScrRcv-47", port.number());
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

TEST_F(AvahiWiFiNetworkTest, EndsByCancelByLettingGoOrWithItsQueue) {
  ASSERT_TRUE(avahi->startDaemon());
  const Port port;
  const auto phone = PrivateAvahi::publish("ScrRcv-47", port.number());
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

  note([&] { events.clear(); });
  connect();
  ASSERT_TRUE(sees({"ready"}));
  receive(4);
  queue->stopAndJoin();  // whatever is called now leaves nothing behind
  connection->cancel();
  browser->cancel();
}

}  // namespace
}  // namespace tandemview
