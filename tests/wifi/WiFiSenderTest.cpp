#include "wifi/WiFiSender.h"

#include <gtest/gtest.h>

#include "fakes/LogRecorder.h"
#include "fakes/ManualQueue.h"
#include "fakes/MemoryUserDefaults.h"
#include "fakes/RecordingWiFiNetwork.h"

namespace tandemview {
namespace {

using std::string_literals::operator""s;

const std::string ping = "12345678";

std::string prefix(std::uint32_t length) {
  return {static_cast<char>(length >> 24), static_cast<char>(length >> 16), static_cast<char>(length >> 8),
          static_cast<char>(length)};
}

std::string envelope(const std::string& message) {
  return prefix(static_cast<std::uint32_t>(message.size())) + message;
}

std::string touch(int number) {
  return R"({"type":1,"x":1,"y":)" + std::to_string(number) + "}";
}

const Error broken{.domain = "test", .code = 1, .description = "broken"};

/// A queue that can be kept busy; what comes meanwhile waits.
class BusyQueue final : public Queue {
 public:
  explicit BusyQueue(std::shared_ptr<Queue> queue) : queue_(std::move(queue)) {}
  void async(Work work) override {
    if (!isBusy) return queue_->async(std::move(work));
    waiting.push_back(std::move(work));
  }
  void after(double seconds, Work work) override {
    queue_->after(seconds, [this, work = std::move(work)] { async(work); });
  }
  Result<std::unique_ptr<DescriptorWatch>> watch(int descriptor) override { return queue_->watch(descriptor); }

  void goOn() {
    isBusy = false;
    for (Work& work : std::exchange(waiting, {})) queue_->async(std::move(work));
  }

  bool isBusy = false;
  std::deque<Work> waiting;

 private:
  const std::shared_ptr<Queue> queue_;
};

class WiFiSenderTest : public testing::Test {
 protected:
  WiFiSenderTest() {
    userDefaults->setString("WiFiPairingCode", "47");
    sender->onClientConnected = [this] { calls.push_back("connected"); };
    sender->onClientDisconnected = [this] { calls.push_back("disconnected"); };
    sender->onDeviceInfo = [this](const MacProtocol::DeviceInfo& info) {
      calls.push_back("info " + std::to_string(info.width));
    };
    sender->onTouchEvent = [this](const Data& data) { calls.push_back("touch " + std::string(data.text())); };
    sender->onKeyEvent = [this](const Data& data) { calls.push_back("key " + std::string(data.text())); };
    sender->onCodeContested = [this] { calls.push_back("contested"); };
    sender->onRoomForFrames = [this] { calls.push_back("room"); };
  }

  RecordingWiFiNetwork::Browser& browser() const { return *network->browsers().back(); }
  RecordingWiFiNetwork::Connection& link() const { return *network->connections().back(); }

  void browse() {
    sender->start();
    queue->advance(0.3);
  }
  /// What is found, and who announces it.
  void find(const Lines& names) {
    browser().find(names);
    queue->advance(0.3);
  }
  /// A link that is up, its announcement made and the record empty.
  void connect(bool holdsSends = false) {
    browse();
    beginLink(holdsSends);
    queue->advance(0.5);
    EXPECT_EQ(calls.back(), "connected");
    forget();
  }
  void beginLink(bool holdsSends = false) {
    find({"ScrRcv-47"});
    link().holdsSends = holdsSends;
    link().becomeReady();
    queue->drain();
  }
  void loseLink() {
    link().fail(broken);
    queue->drain();
  }
  void forget() {
    log.take();
    calls.clear();
    link().takeSent();
  }
  void sendFrames(int count, const std::string& text) {
    for (int frame = 0; frame < count; ++frame) sender->sendFrame(Data::copying(text));
  }
  void say(const std::string& message) {
    link().deliver(envelope(message));
    queue->drain();
  }

  LogRecorder log;
  Lines calls;
  std::shared_ptr<ManualQueue> queue = ManualQueue::make();
  std::shared_ptr<BusyQueue> mainQueue = std::make_shared<BusyQueue>(queue);
  std::shared_ptr<ManualWallClock> wallClock = std::make_shared<ManualWallClock>(queue);
  std::shared_ptr<RecordingWiFiNetwork> network = std::make_shared<RecordingWiFiNetwork>();
  std::shared_ptr<MemoryUserDefaults> userDefaults = std::make_shared<MemoryUserDefaults>();
  std::shared_ptr<WiFiSender> sender = std::make_shared<WiFiSender>(
      WiFiSender::Surroundings{.mainQueue = mainQueue,
                               .queue = queue,
                               .network = network,
                               .userDefaults = userDefaults,
                               .clock = std::make_shared<ManualClock>(queue, 2.0 - 0.3 - 0.3 - 0.5),
                               .wallClock = wallClock,
                               .program = {.name = "Tandemview", .shortVersion = "1.2"}});
};

TEST_F(WiFiSenderTest, FindsThePhoneOfItsCodeAndGreetsIt) {
  sender->start();
  queue->advance(0.29);
  EXPECT_TRUE(network->browsers().empty());
  queue->advance(0.01);
  EXPECT_EQ(browser().serviceType, "_scrstream._tcp");
  browser().becomeReady();
  find({"ScrRcv-12", "", "scrrcv-47", "ScrRcv- 47", "TV", "ScrRcv-47", "ScrRcv-99"});
  EXPECT_EQ(log.take(), (Lines{"📶 WiFiSender: Starting P2P browser...", "🛑 WiFiSender: Stopping...",
                               "✅ WiFiSender: Browser ready, looking for iPhone (P2P enabled)...",
                               "📱 WiFiSender: Ignoring device with different pairing code: ScrRcv-12",
                               "📱 WiFiSender: Ignoring device with different pairing code: scrrcv-47",
                               "📱 WiFiSender: Ignoring device with different pairing code: ScrRcv- 47",
                               "📱 WiFiSender: Ignoring device with different pairing code: TV",
                               "📱 WiFiSender: Found matching device (ScrRcv-47), connecting..."}));
  EXPECT_EQ(link().endpointName, "ScrRcv-47");
  EXPECT_TRUE(sender->connection());
  EXPECT_TRUE(browser().isRunning());

  find({"ScrRcv-12", "ScrRcv-47"});
  sendFrames(10, "too early");
  EXPECT_TRUE(log.take().empty()) << "a connection is being made already, and no link stands yet";
  EXPECT_EQ(network->connections().size(), 1u);
  EXPECT_FALSE(sender->isLive());

  link().becomeReady();
  queue->drain();
  EXPECT_TRUE(sender->isLive());
  EXPECT_EQ(log.take(), Lines{"✅ WiFiSender: Connected to iPhone via P2P WiFi!"});
  EXPECT_FALSE(browser().isRunning());
  EXPECT_EQ(link().takeSent(),
            Lines{envelope(R"({"build":"0","features":["resize"],"kind":"macInfo","version":"1.2"})")});
  queue->advance(0.49);
  EXPECT_TRUE(calls.empty());
  queue->advance(0.01);
  EXPECT_EQ(calls, Lines{"connected"});
}

TEST_F(WiFiSenderTest, TellsMessagesApartByTheirContent) {
  connect();
  const std::string touch = R"({"type":"began","x":1,"y":null})";
  const std::string key = R"({"kind":"key","type":1,"x":1,"y":1})";
  for (const std::string& message :
       Lines{"{", R"({"type":1,"x":1})", R"({"width":1,"height":1,"kind":"key"})", std::string(16, '{'),
             std::string(1'000'000, ' '), touch, key, R"({"width":393,"height":852,"scale":3})", "1", ping}) {
    say(message);
  }
  EXPECT_EQ(calls, (Lines{"touch " + touch, "key " + key, "info 393"}));
  EXPECT_EQ(link().takeSent(), Lines{envelope(ping + std::string("\0\0\0\0\0\0\x00\x40", 8))}) << "2.0 seconds";
  EXPECT_TRUE(log.take().empty());
}

TEST_F(WiFiSenderTest, HoldsThePhoneUpWhileTheMainQueueIsBusy) {
  connect();
  mainQueue->isBusy = true;
  Lines expected;
  std::string flood;
  for (int number = 0; number < 500; ++number) {
    const std::string key = R"({"kind":"key","number":)" + std::to_string(number) + "}";
    const std::string info = R"({"scale":3,"height":1,"width":)" + std::to_string(number) + "}";
    expected.insert(expected.end(), {"touch " + touch(number), "key " + key, "info " + std::to_string(number)});
    flood += envelope(touch(number)) + envelope(key) + envelope(info);
  }
  say(ping);
  EXPECT_EQ(link().takeSent().size(), 1u) << "a ping needs no main queue";
  link().deliver(flood);
  say(ping);
  EXPECT_EQ(mainQueue->waiting.size(), 16u);
  queue->advance(30);
  mainQueue->goOn();
  queue->drain();
  EXPECT_EQ(calls, expected);
  EXPECT_EQ(link().takeSent().size(), 1u) << "the ping behind the flood";
  queue->advance(9);
  EXPECT_TRUE(sender->isLive()) << "the silence was ours";
  EXPECT_TRUE(log.take().empty());
  mainQueue->isBusy = true;
  for (int number = 0; number < 16; ++number) say(touch(number));  // and nothing behind them
  queue->advance(30);
  mainQueue->goOn();
  queue->advance(9);
  EXPECT_TRUE(sender->isLive());
  queue->advance(3);
  EXPECT_FALSE(sender->isLive());
}

TEST_F(WiFiSenderTest, AnImpossibleLengthDropsTheLink) {
  for (const auto& [length, text] :
       {std::pair{0u, "0"}, std::pair{1'000'001u, "1000001"}, std::pair{0xFFFFFFFFu, "4294967295"}}) {
    SCOPED_TRACE(text);
    connect();
    link().deliver(prefix(length) + "rest");
    queue->drain();
    EXPECT_EQ(log.take(),
              (Lines{"⚠️ WiFiSender: Invalid message length " + std::string(text) + " - dropping connection",
                     "🔄 WiFiSender: Stale WiFi connection dropped — resuming browsing"}));
    EXPECT_FALSE(link().isStarted());
    EXPECT_FALSE(sender->connection());
    EXPECT_EQ(calls, (Lines{"disconnected", "disconnected"})) << "for the drop, and when it is done";
    queue->advance(20);
    EXPECT_FALSE(browser().isRunning()) << "whoever owns the sender decides whether to look again";
    EXPECT_TRUE(log.take().empty());
    calls.clear();
  }
}

TEST_F(WiFiSenderTest, MoreThanTenSecondsWithoutAMessageDropTheLink) {
  connect();  // up for 0.5 seconds; the checks come every 2 seconds from then
  queue->advance(1);
  say(ping);
  link().deliver(prefix(100));  // a length is no message
  queue->advance(9.4);
  EXPECT_TRUE(sender->connection());
  queue->advance(1.1);
  EXPECT_EQ(log.take(), (Lines{"⚠️ WiFiSender: No data for 10s - connection appears dead, disconnecting...",
                               "🔄 WiFiSender: Stale WiFi connection dropped — resuming browsing",
                               "❌ WiFiSender: Data receive error: Operation canceled"}));
  EXPECT_FALSE(sender->connection());
  EXPECT_EQ(calls.front(), "disconnected");

  connect();
  queue->advance(9.5);
  EXPECT_TRUE(sender->connection()) << "the check after exactly 10 seconds";
}

TEST_F(WiFiSenderTest, AFailedAttemptGoesOnBrowsingAndAFailedLinkBrowsesAnew) {
  browse();
  find({"ScrRcv-47"});
  log.take();
  link().fail(broken);
  queue->advance(1);
  EXPECT_EQ(log.take(), Lines{"❌ WiFiSender: Connection failed: broken"});
  EXPECT_EQ(calls, Lines{"disconnected"});
  EXPECT_EQ(network->browsers().size(), 1u);
  EXPECT_FALSE(sender->connection());

  beginLink();
  forget();
  loseLink();
  queue->advance(0.49);
  EXPECT_EQ(log.take(),
            (Lines{"❌ WiFiSender: Connection failed: broken", "🔄 WiFiSender: Restarting browser to find iPhone...",
                   "❌ WiFiSender: Receive error: broken"}));
  EXPECT_EQ(calls, Lines{"disconnected"});
  EXPECT_EQ(network->browsers().size(), 1u);
  queue->advance(0.01);
  EXPECT_EQ(network->browsers().size(), 2u);
  find({"ScrRcv-47"});
  EXPECT_TRUE(sender->connection());

  forget();
  browser().fail(broken);
  queue->advance(1);
  EXPECT_EQ(log.take(), Lines{"❌ WiFiSender: Browser failed: broken"});
  link().fail(broken);
  queue->advance(0.5);
  EXPECT_EQ(network->browsers().size(), 3u) << "a failed browser doesn't pass for one that looks";

  beginLink();
  loseLink();
  connect();  // the owner starts anew, sooner than the sender by itself
  queue->advance(1);
  EXPECT_EQ(network->browsers().size(), 4u) << "a link that is there needs no search";
}

TEST_F(WiFiSenderTest, ALinkThatEndsBeforeItIsAnnouncedLeavesNoGhost) {
  browse();
  beginLink();
  link().endStream();
  queue->drain();
  EXPECT_FALSE(sender->isLive());
  sendFrames(1, "picture");
  EXPECT_EQ(link().takeSent().size(), 1u) << "only the greeting";
  queue->advance(0.5);
  EXPECT_EQ(calls, (Lines{"disconnected", "connected", "disconnected"}));

  browse();
  beginLink();
  sender->stop();
  queue->advance(1);
  EXPECT_EQ(calls, (Lines{"disconnected", "connected", "disconnected", "disconnected", "disconnected", "connected",
                          "disconnected"}));
}

TEST_F(WiFiSenderTest, TheEndOfTheStreamIsToldAndReceiveErrorsWaitForTheHeartbeat) {
  connect();
  link().deliver(envelope(touch(1)));
  link().endStream();
  queue->drain();
  EXPECT_EQ(calls, (Lines{"touch " + touch(1), "disconnected"}));

  for (const auto& [begun, line] : {std::pair{""s, "❌ WiFiSender: Receive error: broken"},
                                    {prefix(100) + ping, "❌ WiFiSender: Data receive error: broken"}}) {
    connect();
    link().deliver(begun);
    link().endStream();
    queue->drain();
    EXPECT_EQ(calls, Lines{"disconnected"});
    EXPECT_TRUE(link().takeSent().empty()) << "half a message is none";
    EXPECT_TRUE(log.take().empty());

    connect();
    link().deliver(begun);
    queue->drain();
    link().failReceive(broken);
    queue->drain();
    EXPECT_EQ(log.take(), Lines{line});
    EXPECT_TRUE(calls.empty());
    EXPECT_TRUE(sender->connection());
  }
}

std::string congested(int dropped) {
  return "⚠️ WiFiSender: link congested — dropping frames to keep connection alive (" + std::to_string(dropped) +
         " dropped so far)";
}

TEST_F(WiFiSenderTest, AtMostThreeFramesAndSomePongsAreUnderWay) {
  sendFrames(1, "no link");
  connect(/*holdsSends=*/true);
  sendFrames(3 + 120, "picture");
  EXPECT_EQ(link().takeSent(), Lines(3, envelope("picture")));
  EXPECT_EQ(log.take(), Lines{congested(1)});
  sendFrames(1, "picture");
  EXPECT_EQ(log.take(), Lines{congested(121)});
  for (int turn = 0; turn < 1000; ++turn) say(ping);
  EXPECT_EQ(link().takeSent().size(), 64u) << "a phone that never reads gets no endless answers";

  link().completeSends(broken);
  queue->drain();
  sendFrames(1, "next");
  say(ping);
  EXPECT_EQ(link().takeSent().size(), 2u);
  link().completeSends();
  queue->drain();
  EXPECT_EQ(calls, Lines{"room"}) << "told once, when frames had been refused";
}

TEST_F(WiFiSenderTest, StopEndsTheSearchAndTheLink) {
  sender->start();
  sender->stop();
  queue->advance(1);
  EXPECT_TRUE(network->browsers().empty());

  browse();
  sender->stop();
  EXPECT_FALSE(browser().isRunning());
  find({"ScrRcv-47"});
  EXPECT_TRUE(network->connections().empty()) << "a report that was under way";

  connect();
  sender->stop();
  EXPECT_FALSE(sender->connection());
  EXPECT_FALSE(link().isStarted());
  sendFrames(1, "picture");
  say(touch(1));
  EXPECT_TRUE(link().takeSent().empty());
  queue->advance(20);
  EXPECT_EQ(calls, Lines{"disconnected"}) << "when the connection is cancelled";
  EXPECT_EQ(log.take(), (Lines{"🛑 WiFiSender: Stopping...", "❌ WiFiSender: Receive error: Operation canceled"}));
}

TEST_F(WiFiSenderTest, ReportsOfAnEarlierLinkDoNotTouchTheNext) {
  browse();
  find({"ScrRcv-47"});
  const auto attempt = network->connections().back();
  attempt->holdReports();
  attempt->becomeReady();
  connect(/*holdsSends=*/true);
  const auto oldLink = network->connections().back();
  oldLink->deliver(prefix(static_cast<std::uint32_t>(touch(1).size())));
  sendFrames(4, "old");
  queue->drain();
  oldLink->holdReports();
  oldLink->deliver(touch(1));
  oldLink->fail(broken);
  connect(/*holdsSends=*/true);
  sendFrames(3, "new");
  attempt->releaseReports();
  oldLink->releaseReports();
  queue->drain();
  EXPECT_TRUE(sender->isLive());
  EXPECT_TRUE(calls.empty());
  log.take();
  sendFrames(1, "one too many");
  EXPECT_EQ(log.take(), Lines{congested(1)});
  EXPECT_EQ(link().takeSent(), Lines(3, envelope("new")));
  queue->advance(5);
  say(ping);
  queue->advance(8);
  EXPECT_TRUE(sender->isLive()) << "its heartbeat counts from its own messages";
}

TEST_F(WiFiSenderTest, ConnectsOnlyToWhoMayBeThePhone) {
  const Lines codes = {"10", "11", "12", "13", "47"};
  Lines names;
  for (const std::string& code : codes) names.push_back("ScrRcv-" + code);
  using Hosts = std::map<std::string, WiFiBrowser::HostNames>;
  const std::string manyCodes =
      "⚠️ WiFiSender: Ignoring rogue.local: it announces 5 pairing codes, and a phone has one";
  const auto rogueHas = [](const Lines& announced) {
    Hosts hosts;
    for (const std::string& code : announced) hosts["ScrRcv-" + code] = {"rogue.local"};
    return hosts;
  };
  const auto contested = [](int count, const std::string& first) {
    return "⚠️ WiFiSender: " + std::to_string(count) + " devices announce our pairing code (" + first +
           "...) - connecting to none of them: one may be somebody else";
  };
  struct Case {
    const char* name;
    Hosts hosts;
    std::string line;  // none: it connects
    Lines calls;
  };
  for (const Case& each : std::vector<Case>{
           {"a phone among other phones", {}, "", {}},
           {"a host that the system can't name", {{"ScrRcv-47", {}}}, "", {}},
           {"a phone whose user typed three wrong codes before", rogueHas({"47", "10", "11", "12"}), "", {}},
           {"one host with many codes", rogueHas(codes), manyCodes, {}},
           {"the same again, which is told again after a link", rogueHas(codes), manyCodes, {}},
           {"two hosts with our code",
            {{"ScrRcv-47", {"phone.local", "rogue.local"}}},
            contested(2, "phone.local, rogue.local"),
            {"contested"}},
           {"the same again, which is told but once",
            {{"ScrRcv-47", {"a.local", "b.local", "c.local"}}},
            contested(3, "a.local, b.local"),
            {}}}) {
    SCOPED_TRACE(each.name);
    browse();
    log.take();
    calls.clear();
    const std::size_t connections = network->connections().size();
    browser().hosts = each.hosts;
    find(names);
    Lines lines = log.take();
    lines.erase(lines.begin(), lines.begin() + 4);  // of the strangers
    EXPECT_EQ(calls, each.calls);
    if (each.line.empty()) {
      EXPECT_EQ(lines, Lines{"📱 WiFiSender: Found matching device (ScrRcv-47), connecting..."});
      EXPECT_EQ(network->connections().size(), connections + 1);
      continue;
    }
    EXPECT_EQ(lines, Lines{each.line});
    queue->advance(6);
    EXPECT_TRUE(log.take().empty()) << "one line as long as nothing changes";
    EXPECT_EQ(network->connections().size(), connections);
    browser().hosts.clear();
    queue->advance(5.4);
    EXPECT_EQ(network->connections().size(), connections + 1) << "it looks again by itself";
  }
}

TEST_F(WiFiSenderTest, AThousandStrangersCostALine) {
  browse();
  Lines names(16, "ScrRcv-99");
  log.take();
  find(names);
  EXPECT_EQ(log.take().size(), names.size());
  names.emplace_back("ScrRcv-12");
  find(names);
  EXPECT_EQ(log.take(), Lines{"📱 WiFiSender: Ignoring 17 devices with different pairing codes"});
}

}  // namespace
}  // namespace tandemview
