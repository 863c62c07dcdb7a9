#include "usb/PTUSBHub.h"

#include <gtest/gtest.h>

#include "fakes/LogRecorder.h"
#include "support/SocketPair.h"
#include "support/StandInDaemon.h"

namespace tandemview {
namespace {

class PTUSBHubTest : public testing::Test {
 protected:
  void makeHub() {
    hub = PTUSBHub::listeningHub({.socketPath = daemon.socketPath(),
                                  .program = {.name = "Tandemview", .shortVersion = "1.0", .build = "7"},
                                  .queue = queue,
                                  .notificationCenter = center});
    for (const char* name : {ptUSBDeviceDidAttachNotification, ptUSBDeviceDidDetachNotification}) {
      center->addObserver(name, hub.get(), [this, name](const std::any& userInfo) {
        notifications.push_back(std::string(name) + " " + std::any_cast<const PropertyList&>(userInfo).dump());
      });
    }
    queue->drain();
  }
  void listen() {
    makeHub();
    say(0, 1, {{"MessageType", "Result"}, {"Number", 0}});
  }
  void say(std::size_t connection, std::uint32_t tag, const PropertyList& payload) {
    daemon.send(connection, StandInDaemon::packet(tag, payload));
    queue->drain();
  }
  /// What comes of a connect that the daemon answers so.
  Lines outcomesOf(const Data& answer) {
    outcomes.clear();
    connect();
    daemon.send(daemon.connections.size() - 1, answer);
    queue->drain();
    return outcomes;
  }
  void connect() {
    hub->connectToDevice(
        42, 2345,
        [this](const std::optional<Error>& error, const std::shared_ptr<Stream>& connected) {
          stream = connected;
          outcomes.push_back(error ? error->domain + " " + std::to_string(error->code) + " " + error->description
                                   : "connected");
        },
        [this](const std::optional<Error>&) { ++ends; });
    queue->drain();
  }

  std::shared_ptr<ManualQueue> queue = ManualQueue::make();
  std::shared_ptr<NotificationCenter> center = std::make_shared<NotificationCenter>();
  StandInDaemon daemon{queue};
  LogRecorder log;
  std::shared_ptr<PTUSBHub> hub;
  std::shared_ptr<Stream> stream;
  Lines notifications;
  Lines outcomes;
  int ends = 0;
};

TEST_F(PTUSBHubTest, ListensWithTheseBytesAndAgainIfTheDaemonRefuses) {
  makeHub();
  const std::string& received = daemon.connections.at(0)->received;
  const auto size = static_cast<unsigned char>(received[0]) + 256 * static_cast<unsigned char>(received[1]);
  EXPECT_EQ(static_cast<std::size_t>(size), received.size());
  EXPECT_EQ(received.substr(2, 14), fromHex("0000 01000000 08000000 01000000"));
  EXPECT_EQ(daemon.request(0),
            (PropertyList{{"MessageType", "Listen"}, {"ProgName", "Tandemview"}, {"ClientVersionString", "7"}}));
  say(0, 1, {{"Number", 1}});
  queue->advance(2.1);
  ASSERT_EQ(daemon.connections.size(), 2u);
  say(1, 1, {{"Number", 0}});
  EXPECT_EQ(log.take(), (Lines{"PTUSBHub failed to initialize: Error Domain=PTUSBHubError Code=1 \"illegal command\"",
                               "✅ PTUSBHub: The USB daemon is there - listening for devices"}));
}

TEST_F(PTUSBHubTest, AnnouncesDevicesHoweverThePacketsAreCut) {
  listen();
  const PropertyList attached = {{"MessageType", "Attached"}, {"DeviceID", 3}, {"Properties", {{"Serial", "x"}}}};
  const PropertyList detached = {{"MessageType", "Detached"}, {"DeviceID", 3}};
  const Data bytes = StandInDaemon::packet(0, attached).joinedWith(StandInDaemon::packet(0, detached)).contiguous();
  const Lines expected = {std::string(ptUSBDeviceDidAttachNotification) + " " + attached.dump(),
                          std::string(ptUSBDeviceDidDetachNotification) + " " + detached.dump()};
  daemon.send(0, bytes);  // both in one read
  queue->drain();
  EXPECT_EQ(notifications, expected);
  notifications.clear();
  for (const std::byte byte : bytes.bytes()) {
    daemon.send(0, Data::copying(std::span(&byte, 1)));
    queue->drain();
  }
  EXPECT_EQ(notifications, expected);
}

TEST_F(PTUSBHubTest, ConnectsAndHandsTheStreamOver) {
  listen();
  connect();
  const PropertyList request = daemon.request(1);
  EXPECT_EQ(request["MessageType"], "Connect");
  EXPECT_EQ(request["DeviceID"], 42);
  EXPECT_EQ(request["PortNumber"], 10505);
  // The reply and the device's first bytes come in one read: the stream keeps what is not the daemon's.
  daemon.send(1, StandInDaemon::packet(1, {{"Number", 0}}).joinedWith(Data::copying("hello")));
  queue->drain();
  ASSERT_EQ(outcomes, Lines{"connected"});
  std::string received;
  stream->read(5, [&](const std::optional<Error>&, const Data& data) { received = data.text(); });
  queue->drain();
  EXPECT_EQ(received, "hello");
  queue->advance(60);
  EXPECT_EQ(outcomes.size(), 1u) << "the time-out of an answered request comes to nothing";
  stream->stop();
  queue->drain();
  EXPECT_EQ(ends, 1);
}

TEST_F(PTUSBHubTest, EveryAnswerHasItsError) {
  listen();
  const struct {
    Data answer;
    std::string expected;
  } cases[] = {
      {StandInDaemon::packet(1, {{"Number", 1}}), "PTUSBHubError 1 illegal command"},
      {StandInDaemon::packet(1, {{"Number", 2}}), "PTUSBHubError 2 unknown device"},
      {StandInDaemon::packet(1, {{"Number", 3}}), "PTUSBHubError 3 connection refused"},
      {StandInDaemon::packet(1, {{"Number", 6}}), "PTUSBHubError 6 invalid version"},
      {StandInDaemon::packet(1, {{"Number", 5}}), "PTUSBHubError 5 Unspecified error"},
      {StandInDaemon::packet(1, {{"Text", "x"}}), "PTUSBHubError 0 "},
      {StandInDaemon::packet(0, 1, 1, fromHex("06000000")), "PTUSBHubError 0 Unexpected package protocol"},
      {StandInDaemon::packet(1, 7, 1, "x"), "PTUSBHubError 0 Unexpected package type"},
      {StandInDaemon::packet(1, 8, 1, "garbage"), "PTUSBHubError 0 Unreadable property list"},
      {Data::copying(fromHex("05000000")), "PTUSBHubError 0 Unexpected package size"},
      {Data::copying(fromHex("f0ffffff")), "PTUSBHubError 1 Received a packet that is too large"},
  };
  for (const auto& each : cases) EXPECT_EQ(outcomesOf(each.answer), Lines{each.expected});
  EXPECT_EQ(ends, static_cast<int>(std::size(cases))) << "every failed connection is closed";

  EXPECT_EQ(outcomesOf(Data::copying(fromHex("40000000 01000000"))), Lines());
  daemon.connections.back()->stream->stop();  // closes mid-packet
  queue->drain();
  EXPECT_EQ(outcomes, Lines{"NSPOSIXErrorDomain 104 Connection reset by peer"});

  outcomesOf(StandInDaemon::packet(9, {{"Number", 0}}));  // answers something else, then never
  queue->advance(10);
  EXPECT_EQ(outcomes, Lines{"NSPOSIXErrorDomain 110 Connection timed out"});
}

TEST_F(PTUSBHubTest, StrangePacketsAreLoggedAndListeningGoesOn) {
  listen();
  log.take();
  daemon.send(0, StandInDaemon::packet(99, {{"Number", 0}}));
  daemon.send(0, StandInDaemon::packet(1, 8, 99, ""));
  daemon.send(0, StandInDaemon::packet(0, {{"MessageType", "Paired"}}));
  daemon.send(0, StandInDaemon::packet(0, 1, 0, "old"));
  say(0, 0, {{"MessageType", "Attached"}, {"DeviceID", 1}});
  EXPECT_EQ(log.take(),
            (Lines{"Warning: Ignoring reply packet for which there is no registered callback. Packet => {\"Number\":0}",
                   "Warning: Ignoring reply packet for which there is no registered callback. Packet => {}",
                   "Warning: Unhandled broadcast message: {\"MessageType\":\"Paired\"}"}));
  EXPECT_EQ(notifications.size(), 1u);
}

TEST_F(PTUSBHubTest, ADaemonThatRestartsIsListenedToAgain) {
  listen();
  say(0, 0, {{"MessageType", "Attached"}, {"DeviceID", 5}});
  notifications.clear();
  daemon.stop();
  queue->drain();
  EXPECT_EQ(notifications,
            Lines{std::string(ptUSBDeviceDidDetachNotification) + R"( {"DeviceID":5,"MessageType":"Detached"})"});
  connect();
  EXPECT_EQ(outcomes, Lines{"NSPOSIXErrorDomain 111 Connection refused"});
  queue->advance(9);  // four attempts in vain
  daemon.start();
  queue->advance(1.1);
  ASSERT_EQ(daemon.connections.size(), 1u);
  daemon.send(0, StandInDaemon::packet(1, {{"Number", 0}}));
  daemon.send(0, StandInDaemon::packet(0, {{"MessageType", "Attached"}, {"DeviceID", 6}}));
  queue->advance(100);
  EXPECT_EQ(daemon.connections.size(), 1u);
  EXPECT_EQ(notifications.size(), 2u);
  EXPECT_EQ(log.take(), (Lines{"⚠️ PTUSBHub: The USB daemon went away - trying again every 2 seconds",
                               "✅ PTUSBHub: The USB daemon is there - listening for devices"}));
}

}  // namespace
}  // namespace tandemview
