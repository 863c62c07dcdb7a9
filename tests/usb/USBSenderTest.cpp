#include "usb/USBSender.h"

#include <gtest/gtest.h>

#include "fakes/LogRecorder.h"
#include "protocol/MessageType.h"
#include "support/PhoneStandIn.h"
#include "support/SocketPair.h"
#include "support/StandInDaemon.h"

namespace tandemview {
namespace {

class USBSenderFixture : public testing::Test {
 protected:
  USBSenderFixture() {
    sender->onClientConnected = [this] { calls.push_back("connected"); };
    sender->onClientDisconnected = [this] { calls.push_back("disconnected"); };
    sender->onDeviceInfo = [this](const MacProtocol::DeviceInfo& info) {
      calls.push_back("info " + std::to_string(info.width));
    };
    sender->onTouchEvent = [this](const Data& data) { calls.push_back("touch " + std::string(data.text())); };
    sender->onKeyEvent = [this](const Data& data) { calls.push_back("key " + std::string(data.text())); };
    sender->onRoomForFrames = [this] { calls.push_back("room"); };
  }

  std::shared_ptr<ManualQueue> queue = ManualQueue::make();
  LogRecorder log;
  std::shared_ptr<NotificationCenter> center = std::make_shared<NotificationCenter>();
  std::shared_ptr<PTUSBHub> hub;
  std::shared_ptr<USBSender> sender =
      std::make_shared<USBSender>(2345, USBSender::Surroundings{.mainQueue = queue,
                                                                .notificationCenter = center,
                                                                .clock = std::make_shared<ManualClock>(queue, 1.5),
                                                                .program = {.name = "Tandemview"},
                                                                .sharedHub = [this] { return hub; }});
  Lines calls;
};

class USBSenderTest : public USBSenderFixture {
 protected:
  USBSenderTest() {
    hub = phone->hub;
    sender->start();
    queue->drain();
    log.take();
  }
  void attach(std::int64_t deviceID) {
    phone->daemon->attach(deviceID);
    queue->drain();
  }

  std::shared_ptr<PhoneStandIn> phone = PhoneStandIn::on(queue, center);
};

TEST_F(USBSenderTest, ConnectsGreetsAndHandsOnWhatThePhoneSays) {
  attach(7);
  EXPECT_EQ(log.take(), (Lines{"📱 USBSender: iOS device attached (ID: 7)",
                               "🔄 USBSender: Connecting to iOS device 7 on port 2345...",
                               "✅ USBSender: Connected to iOS device!"}));
  EXPECT_EQ(calls, Lines{"connected"});
  EXPECT_FALSE(sender->isRetrying());
  sender->sendFrame(Data::copying("picture"));
  phone->send(MessageType::deviceInfo, R"({"width":393,"height":852,"scale":3})");
  phone->send(MessageType::touchEvent, "{touch}");
  phone->send(MessageType::keyEvent, "{key}");
  for (const char* dropped : {"", "1234567", "123456789"}) phone->send(MessageType::ping, dropped);
  phone->send(MessageType::deviceInfo, "{}");
  phone->send(107, "unknown");
  phone->send(99, "unknown");
  phone->send(MessageType::ping, fromHex("0102030405060708"));
  queue->drain();
  EXPECT_EQ(calls, (Lines{"connected", "info 393", "touch {touch}", "key {key}"}));
  EXPECT_EQ(phone->types(),
            (std::vector<std::uint32_t>{MessageType::macInfo, MessageType::videoFrame, MessageType::pong}));
  EXPECT_EQ(phone->frames.at(2).payload.text(), fromHex("0102030405060708 000000000000f83f"));
  EXPECT_EQ(log.take(), Lines{"📱 USBSender: Received device info - 393x852, scale: 3.0, mode: "
                              "medium, orientation: Portrait"});

  sender->onTouchEvent = [this](const Data&) { sender = nullptr; };
  for (int touch = 0; touch < 2; ++touch) phone->send(MessageType::touchEvent, "{touch}");
  queue->drain();
  EXPECT_FALSE(sender);
}

TEST_F(USBSenderTest, AtMostThreeFramesAreInFlight) {
  attach(7);
  queue->drain();
  const std::string picture(3'000'000, 'x');  // more than the socket takes: no write completes before it is read
  const auto channel = phone->channel;
  for (int frame = 0; frame < 10; ++frame) sender->sendFrame(Data::copying(picture));
  ASSERT_TRUE(queue->drainUntil([&] { return phone->frames.size() == 4; }));
  queue->drain();
  EXPECT_EQ(phone->frames.size(), 4u) << "Mac info and three frames; the others were dropped";
  EXPECT_EQ(calls, (Lines{"connected", "room"})) << "told once";
  sender->sendFrame(Data::copying("next"));
  ASSERT_TRUE(queue->drainUntil([&] { return phone->frames.size() == 5; }));
  EXPECT_EQ(phone->frames.back().payload.text(), "next");
  EXPECT_EQ(calls.size(), 2u) << "no frame was refused";

  for (int frame = 0; frame < 3; ++frame) EXPECT_TRUE(sender->sendFrame(Data::copying(picture)));
  phone->daemon->detach(7);
  attach(7);
  EXPECT_TRUE(sender->sendFrame(Data::copying("next"))) << "what was in flight ended with its link";
}

TEST_F(USBSenderTest, RetriesEveryTwoSecondsWhileTheDeviceStays) {
  sender->startRetryTimer();
  queue->advance(2.1);
  EXPECT_TRUE(log.take().empty()) << "there is no device yet";
  sender->stopRetryTimer();
  phone->connectResult = 3;
  attach(7);
  log.take();
  queue->advance(1);
  sender->startRetryTimer();  // it runs already
  const auto protocol = PTProtocol::sharedProtocolForQueue(queue);
  const long holders = protocol.use_count();
  queue->advance(3.1);
  EXPECT_EQ(log.take(), (Lines{"🔄 USBSender: Timer retry...", "🔄 USBSender: Connecting to iOS device 7 on port 2345...",
                               "❌ USBSender: Failed to connect: connection refused", "🔄 USBSender: Timer retry...",
                               "🔄 USBSender: Connecting to iOS device 7 on port 2345...",
                               "❌ USBSender: Failed to connect: connection refused"}));
  EXPECT_EQ(protocol.use_count(), holders) << "what has failed is let go";
  sender->stopRetryTimer();
  phone->connectResult = 0;
  queue->advance(10);
  EXPECT_TRUE(calls.empty());
  sender->retryConnection();
  queue->drain();
  EXPECT_EQ(calls, Lines{"connected"});

  phone->channel->close();  // the companion app quits; the device stays
  queue->drain();
  EXPECT_EQ(calls, (Lines{"connected", "disconnected"}));
  EXPECT_TRUE(sender->isRetrying());
  queue->advance(2.1);
  EXPECT_EQ(calls.size(), 3u);
  EXPECT_FALSE(sender->isRetrying());
  sender->startRetryTimer();
  log.take();
  queue->advance(2.1);
  EXPECT_FALSE(sender->isRetrying()) << "the link stands";
  EXPECT_TRUE(log.take().empty());
}

TEST_F(USBSenderTest, TellsDevicesApartUntilItIsStopped) {
  attach(7);
  attach(8);
  EXPECT_EQ(phone->connectedTo, std::vector<std::int64_t>{7}) << "one link is enough";
  phone->daemon->detach(8);
  queue->drain();
  EXPECT_TRUE(sender->peerChannel());
  attach(9);
  phone->daemon->detach(7);
  queue->drain();
  EXPECT_EQ(calls, (Lines{"connected", "disconnected"}));
  EXPECT_FALSE(sender->peerChannel());
  sender->retryConnection();
  queue->drain();
  EXPECT_EQ(phone->connectedTo, (std::vector<std::int64_t>{7, 9})) << "the last one attached is the target";

  sender->stop();
  queue->drain();
  EXPECT_FALSE(sender->peerChannel());
  attach(10);
  EXPECT_FALSE(sender->sendFrame(Data::copying("x")));
  queue->advance(10);
  EXPECT_EQ(phone->connectedTo.size(), 2u);
  EXPECT_EQ(calls, (Lines{"connected", "disconnected", "connected"}));
}

/// With a daemon that answers when the test says so.
class USBSenderAttemptsTest : public USBSenderFixture {
 protected:
  USBSenderAttemptsTest() {
    hub = PTUSBHub::listeningHub(
        {.socketPath = daemon.socketPath(), .program = {}, .queue = queue, .notificationCenter = center});
    queue->drain();
    daemon.send(0, StandInDaemon::packet(1, {{"MessageType", "Result"}, {"Number", 0}}));
    sender->start();
    queue->drain();
  }
  void announce(const char* type, std::int64_t deviceID) {
    daemon.send(0, StandInDaemon::packet(0, {{"MessageType", type}, {"DeviceID", deviceID}}));
    queue->drain();
  }
  /// Accepts the Connect of a connection; its device touches the screen at once.
  void accept(std::size_t connection) {
    if (!daemon.isOpen(connection)) return;
    daemon.send(connection, StandInDaemon::packet(1, {{"Number", 0}}));
    touch(connection);
  }
  void touch(std::size_t connection) {
    const Data payload = Data::copying(std::to_string(connection));
    daemon.send(connection, PTProtocol::createDispatchDataWithFrameOfType(MessageType::touchEvent, 0, payload));
    queue->drain();
  }
  /// The connections that are open, the listening one left out.
  std::vector<std::size_t> openConnections() const {
    std::vector<std::size_t> open;
    for (std::size_t connection = 1; connection < daemon.connections.size(); ++connection) {
      if (daemon.isOpen(connection)) open.push_back(connection);
    }
    return open;
  }

  using Connections = std::vector<std::size_t>;
  StandInDaemon daemon{queue};
};

TEST_F(USBSenderAttemptsTest, LateAnswersLeaveOneLinkTheNewest) {
  daemon.send(0, StandInDaemon::packet(0, {{"MessageType", "Attached"}}));
  daemon.send(0, StandInDaemon::packet(0, {{"MessageType", "Attached"}, {"DeviceID", "7"}}));
  announce("Attached", 7);
  queue->advance(4.1);  // two retries while the daemon thinks
  ASSERT_EQ(openConnections(), (Connections{1, 2, 3}));
  accept(2);
  EXPECT_EQ(openConnections(), (Connections{2, 3})) << "the older attempt comes too late";
  accept(1);
  const auto replaced = sender->peerChannel();
  accept(3);
  EXPECT_EQ(openConnections(), Connections{3});
  EXPECT_FALSE(replaced->isConnected());
  touch(2);
  touch(3);
  queue->advance(20);
  EXPECT_EQ(openConnections(), Connections{3});
  EXPECT_EQ(calls, (Lines{"connected", "touch 2", "connected", "touch 3", "touch 3"}));
}

TEST_F(USBSenderAttemptsTest, AnAttemptEndsWithItsReason) {
  const struct {
    const char* name;
    std::function<void()> reason;
    Connections left;
    bool isTold;
  } cases[] = {
      {"the sender stops", [&] { sender->stop(); }, {}, false},
      {"the device goes", [&] { announce("Detached", 7); }, {}, true},
      {"another device goes", [&] { announce("Detached", 9); }, {1, 2}, false},
      {"another device comes", [&] { announce("Attached", 8); }, {3}, false},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    announce("Attached", 7);
    queue->advance(2.1);
    ASSERT_EQ(openConnections(), (Connections{1, 2}));
    log.take();
    each.reason();
    queue->drain();
    EXPECT_EQ(openConnections(), each.left);
    EXPECT_EQ(std::exchange(calls, {}).size(), each.isTold ? 1u : 0u);
    for (const std::size_t connection : {1, 2}) accept(connection);
    EXPECT_EQ(calls.empty(), each.left.size() < 2) << "a late answer is none";
    for (const std::string& line : log.take()) EXPECT_FALSE(line.starts_with("❌")) << line;

    sender->stop();
    queue->drain();
    calls.clear();
    daemon.connections.resize(1);
    queue->advance(2.1);
    EXPECT_TRUE(openConnections().empty()) << "no retry either";
    sender->start();
    announce("Detached", 7);
    announce("Detached", 8);
    EXPECT_TRUE(calls.empty()) << "of before";
  }
}

TEST_F(USBSenderAttemptsTest, ARetryEndsWithTheDeviceToo) {
  announce("Attached", 7);
  accept(1);
  daemon.connections.at(1)->stream->stop();  // the companion app quits
  queue->advance(2.1);
  ASSERT_EQ(openConnections(), Connections{2});
  announce("Detached", 7);
  EXPECT_FALSE(sender->isRetrying());
  sender->retryConnection();
  queue->advance(2.1);
  EXPECT_EQ(openConnections(), Connections{});

  announce("Attached", 7);
  ASSERT_EQ(openConnections(), Connections{3});
  sender = nullptr;
  queue->drain();
  EXPECT_EQ(openConnections(), Connections{}) << "nor does one outlive its sender";
}

TEST_F(USBSenderAttemptsTest, AnswersToPingsDoNotPileUp) {
  const auto ping = [&](int count) {
    std::string pings;
    for (int index = 0; index < count; ++index) pings += fromHex("00000001 00000066 00000000 00000008") + "12345678";
    daemon.send(1, Data::copying(pings));
    queue->drain();
  };
  const auto readPongs = [&] {
    constexpr std::size_t pongSize = PTProtocol::headerSize + 16;
    std::string bytes;
    std::string buffer(100'000, ' ');
    while (true) {
      const int socket = daemon.connections.at(1)->stream->descriptor();
      const ssize_t count = ::recv(socket, buffer.data(), buffer.size(), MSG_DONTWAIT);
      if (count <= 0) return bytes.size() / pongSize;
      bytes.append(buffer, 0, static_cast<std::size_t>(count));
      queue->drain();
    }
  };
  announce("Attached", 7);
  accept(1);
  readPongs();
  ping(10);
  EXPECT_EQ(readPongs(), 10u);
  ping(20'000);
  EXPECT_LT(readPongs(), 10'000u) << "what the socket takes, and a few more";
  ping(10);
  EXPECT_EQ(readPongs(), 10u) << "once they are read, pings are answered again";
}

}  // namespace
}  // namespace tandemview
