#include "usb/USBSender.h"

#include <gtest/gtest.h>

#include "fakes/LogRecorder.h"
#include "protocol/MessageType.h"
#include "support/PhoneStandIn.h"
#include "support/SocketPair.h"

namespace tandemview {
namespace {

class USBSenderTest : public testing::Test {
 protected:
  USBSenderTest() {
    sender->onClientConnected = [this] { calls.push_back("connected"); };
    sender->onClientDisconnected = [this] { calls.push_back("disconnected"); };
    sender->onDeviceInfo = [this](const MacProtocol::DeviceInfo& info) {
      calls.push_back("info " + std::to_string(info.width));
    };
    sender->onTouchEvent = [this](const Data& data) { calls.push_back("touch " + std::string(data.text())); };
    sender->onKeyEvent = [this](const Data& data) { calls.push_back("key " + std::string(data.text())); };
    sender->start();
    queue->drain();
    log.take();
  }
  void attach(std::int64_t deviceID) {
    phone->daemon->attach(deviceID);
    queue->drain();
  }

  std::shared_ptr<ManualQueue> queue = ManualQueue::make();
  LogRecorder log;
  std::shared_ptr<PhoneStandIn> phone = PhoneStandIn::on(queue);
  std::shared_ptr<USBSender> sender =
      std::make_shared<USBSender>(2345, USBSender::Surroundings{.mainQueue = queue,
                                                                .notificationCenter = phone->center,
                                                                .clock = std::make_shared<ManualClock>(queue, 1.5),
                                                                .program = {.name = "Tandemview"},
                                                                .sharedHub = [this] { return phone->hub; }});
  std::vector<std::string> calls;
};

TEST_F(USBSenderTest, ConnectsGreetsAndHandsOnWhatThePhoneSays) {
  attach(7);
  EXPECT_EQ(log.take(), (std::vector<std::string>{"📱 USBSender: iOS device attached (ID: 7)",
                                                  "🔄 USBSender: Connecting to iOS device 7 on port 2345...",
                                                  "✅ USBSender: Connected to iOS device!"}));
  EXPECT_EQ(calls, std::vector<std::string>{"connected"});
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
  EXPECT_EQ(calls, (std::vector<std::string>{"connected", "info 393", "touch {touch}", "key {key}"}));
  EXPECT_EQ(phone->types(),
            (std::vector<std::uint32_t>{MessageType::macInfo, MessageType::videoFrame, MessageType::pong}));
  EXPECT_EQ(phone->frames.at(2).payload.text(), fromHex("0102030405060708 000000000000f83f"));
  EXPECT_EQ(log.take(), std::vector<std::string>{"📱 USBSender: Received device info - 393x852, scale: 3.0, mode: "
                                                 "medium, orientation: Portrait"});
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
  sender->sendFrame(Data::copying("next"));
  ASSERT_TRUE(queue->drainUntil([&] { return phone->frames.size() == 5; }));
  EXPECT_EQ(phone->frames.back().payload.text(), "next");
}

TEST_F(USBSenderTest, RetriesEveryTwoSecondsWhileTheDeviceStays) {
  phone->connectResult = 3;
  attach(7);
  log.take();
  queue->advance(4.1);
  EXPECT_EQ(log.take(), (std::vector<std::string>{
                            "🔄 USBSender: Timer retry...", "🔄 USBSender: Connecting to iOS device 7 on port 2345...",
                            "❌ USBSender: Failed to connect: connection refused", "🔄 USBSender: Timer retry...",
                            "🔄 USBSender: Connecting to iOS device 7 on port 2345...",
                            "❌ USBSender: Failed to connect: connection refused"}));
  sender->stopRetryTimer();
  phone->connectResult = 0;
  queue->advance(10);
  EXPECT_TRUE(calls.empty());
  sender->retryConnection();
  queue->drain();
  EXPECT_EQ(calls, std::vector<std::string>{"connected"});

  phone->channel->close();  // the companion app quits; the device stays
  queue->drain();
  EXPECT_EQ(calls, (std::vector<std::string>{"connected", "disconnected"}));
  EXPECT_TRUE(sender->isRetrying());
  queue->advance(2.1);
  EXPECT_EQ(calls.size(), 3u);
  EXPECT_FALSE(sender->isRetrying());
}

TEST_F(USBSenderTest, TellsDevicesApart) {
  attach(7);
  attach(8);
  EXPECT_EQ(phone->connectedTo, std::vector<std::int64_t>{7}) << "one link is enough";
  phone->daemon->detach(8);
  queue->drain();
  EXPECT_TRUE(sender->peerChannel());
  attach(9);
  phone->daemon->detach(7);
  queue->drain();
  EXPECT_EQ(calls, (std::vector<std::string>{"connected", "disconnected"}));
  EXPECT_FALSE(sender->peerChannel());
  sender->retryConnection();
  queue->drain();
  EXPECT_EQ(phone->connectedTo, (std::vector<std::int64_t>{7, 9})) << "the last one attached is the target";
}

TEST_F(USBSenderTest, StopEndsEverything) {
  attach(7);
  sender->stop();
  queue->drain();
  EXPECT_FALSE(sender->peerChannel());
  attach(8);
  sender->sendFrame(Data::copying("x"));
  queue->advance(10);
  EXPECT_EQ(phone->connectedTo.size(), 1u);
  EXPECT_EQ(calls, std::vector<std::string>{"connected"});
}

}  // namespace
}  // namespace tandemview
