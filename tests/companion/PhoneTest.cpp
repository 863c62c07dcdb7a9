#include "companion/Phone.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

#include "companion/CableLink.h"
#include "companion/WiFiLink.h"
#include "fakes/ManualQueue.h"
#include "support/SocketPair.h"

namespace tandemview {
namespace {

using Lines = std::vector<std::string>;

const std::string macInfoText = R"({"build":"1","features":["resize"],"kind":"macInfo","version":"1"})";
const std::string macInfo = fromHex("00000001 0000006A 00000000 00000042") + macInfoText;
const std::string firstPing = fromHex("00000001 00000066 00000000 00000008");
const std::string frame = fromHex("00000001 00000065 00000000 00000005") + "frame";

class PhoneTest : public testing::Test, public PhoneDelegate {
 protected:
  void SetUp() override { connect(host); }

  void connect(SocketPair& pair) {
    phone->accept(std::make_shared<CableLink>(*Stream::adopting(std::move(pair.ours), queue, nullptr), queue, clock));
    makeNonBlocking(pair.theirs.get());
  }

  void hostSends(const std::string& bytes) {
    host.send(bytes);
    queue->drain();
  }

  std::string hostReceived() const {
    std::array<char, 4096> buffer;
    const ssize_t count = ::read(host.theirs.get(), buffer.data(), buffer.size());
    return {buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
  }

  std::vector<std::string> takeEvents() { return std::exchange(events, {}); }

  void phoneDidConnect(const Phone&) override { events.push_back("connected"); }
  void phoneDidDisconnect(const Phone&, const std::string& reason) override {
    events.push_back("disconnected: " + reason);
  }
  void phoneDidMeetHost(const Phone&, const std::string& info) override { events.push_back(info); }
  void phoneDidReceiveFrame(const Phone&, const Data& payload, double) override { events.emplace_back(payload.text()); }
  void phoneDidReceivePong(const Phone&, double seconds) override {
    events.push_back("pong after " + std::to_string(seconds));
  }
  void phoneDidSeeFault(const Phone&, const Fault& fault) override {
    events.push_back("fault, " + fault.kind + ": " + fault.text);
  }
  void phoneDidPassMessage(const Phone&, Direction direction, std::uint32_t type, std::size_t size) override {
    passed += (direction == Direction::toHost ? ">" : "<") + std::to_string(type) + ":" + std::to_string(size) + " ";
  }

  std::vector<std::string> events;
  std::string passed;
  std::shared_ptr<ManualQueue> queue = ManualQueue::make();
  ManualClock clock{queue, 0};
  SocketPair host;
  std::shared_ptr<Phone> phone = std::make_shared<Phone>(
      queue, clock, Phone::Settings{"cable", {1290, 2796, 3, "medium", "Portrait", "phone"}, 2, 5}, *this);
};

TEST_F(PhoneTest, GreetsThenPings) {
  queue->advance(5);
  EXPECT_EQ(hostReceived(), "") << "the host speaks first";
  hostSends(macInfo);
  EXPECT_EQ(
      hostReceived(),
      fromHex("00000001 00000064 00000000 00000064") +
          R"({"height":2796,"idiom":"phone","orientation":"Portrait","quality":"medium","scale":3.0,"width":1290})" +
          firstPing + fromHex("0000000000001440"));  // 5.0
  queue->advance(2);
  EXPECT_EQ(hostReceived(), firstPing + fromHex("0000000000001C40"));  // 7.0
  queue->advance(0.5);
  hostSends(fromHex("00000001 00000067 00000000 00000010 0000000000001C40 0000000000408F40"));  // 1000.0
  EXPECT_EQ(takeEvents(), (Lines{"connected", macInfoText, "pong after 0.500000"}));
  EXPECT_EQ(phone->hostClock().offset(), 1000 - 7.25);
  EXPECT_EQ(passed, "<106:66 >100:100 >102:8 >102:8 <103:16 ");
}

TEST_F(PhoneTest, SeesTheHostsFaults) {
  const auto info = [](const std::string& text) {
    return fromHex("00000001 0000006A 00000000 000000") + static_cast<char>(text.size()) + text;
  };
  const std::string pong = "00000001 00000067 00000000 00000010 ";
  const struct {
    std::string bytes;
    std::vector<std::string> events;
    bool closes = false;
  } cases[] = {
      {frame, {"fault, Mac info: a video frame before the Mac info", "frame"}},
      {info(""), {"fault, Mac info: Mac info that is none", ""}},
      {info(R"({"kind":"macInfo","version":"1","features":[]})"),
       {"fault, Mac info: Mac info without the text \"build\"", R"({"kind":"macInfo","version":"1","features":[]})"}},
      {info(R"({"kind":"macInfo","version":"1","build":"1"})"),
       {"fault, Mac info: Mac info without the texts \"features\"", R"({"kind":"macInfo","version":"1","build":"1"})"}},
      {macInfo + macInfo, {macInfoText, "fault, Mac info: a second Mac info"}},
      {fromHex("00000001 00000064 00000000 00000001 78"), {"fault, type: a frame of type 100, which no host sends"}},
      {fromHex(pong + "0000000000001C40 0102030405060708"), {"fault, pong: a pong that answers no ping"}},
      {macInfo + fromHex(pong + "0000000000000000 000000000000F87F"),
       {macInfoText, "fault, pong: a pong's time is nan"}},
      {fromHex("00000001 00000067 00000009 00000000"),
       {"fault, tag: a frame of type 103 has the tag 9", "fault, pong: a pong of 0 bytes"}},
      {fromHex("00000001 00000065 00000000 FFFFFFFF"),
       {"fault, link: a frame of type 101 announces 4294967295 bytes", "disconnected: no message is that long"}},
      {fromHex("00000002 00000065 00000000 00000001 78"),
       {"fault, link: a frame of version 2", "disconnected: no frame has that version"}},
      {"", {"disconnected: the host has closed it"}, true},
      {frame.substr(0, 15),
       {"fault, link: the host has closed the link within a message", "disconnected: the host has closed it"},
       true},
      {frame.substr(0, 16),
       {"fault, link: the host has closed the link within a message", "disconnected: the host has closed it"},
       true},
  };
  for (const auto& [bytes, expected, closes] : cases) {
    host = SocketPair();
    connect(host);
    takeEvents();
    hostSends(bytes);
    if (closes) host.hangUp();
    queue->drain();
    EXPECT_EQ(takeEvents(), expected);
  }
}

TEST_F(PhoneTest, WaitsForAnswersButNotForEver) {
  const Lines late{"fault, pong: no pong within 5 s"};
  const Lines gone{"fault, silence: the host has sent nothing for 10 s", "disconnected: the host is silent"};
  hostSends(macInfo);
  takeEvents();
  queue->advance(4.9);
  EXPECT_EQ(takeEvents(), Lines());
  queue->advance(0.5);
  EXPECT_EQ(takeEvents(), late) << "of three pings, one is late";
  for (int second = 0; second < 2000; ++second) {
    queue->advance(1);
    hostSends(frame);
  }
  takeEvents();
  while (!hostReceived().empty()) continue;
  queue->advance(2);
  EXPECT_TRUE(hostReceived().starts_with(firstPing)) << "the pinging does not end";
  takeEvents();
  queue->advance(8.5);
  EXPECT_EQ(Lines(events.end() - 2, events.end()), gone);

  host = SocketPair();
  connect(host);
  takeEvents();
  queue->advance(10.5);
  EXPECT_EQ(takeEvents(), gone) << "it owes its greeting";

  host = SocketPair();
  connect(host);
  hostSends(macInfo);
  takeEvents();
  phone->stall(60);
  queue->advance(60);
  EXPECT_EQ(takeEvents(), Lines()) << "it is we who do not listen";
}

TEST_F(PhoneTest, SendsNoPingWhileItIsSilentAndReadsNothingWhileItStalls) {
  hostSends(macInfo);
  hostReceived();
  phone->silence(3);
  queue->advance(2.5);
  EXPECT_EQ(hostReceived(), "");
  queue->advance(2);
  EXPECT_EQ(hostReceived().size(), 24U);
  takeEvents();
  phone->stall(1.5);
  hostSends(frame + frame);
  queue->advance(1.4);
  EXPECT_EQ(takeEvents(), Lines{});
  queue->advance(0.2);
  EXPECT_EQ(takeEvents(), (Lines{"frame", "frame"}));
}

TEST_F(PhoneTest, SpeaksInEnvelopesOverWiFi) {
  host = SocketPair();
  phone->accept(std::make_shared<WiFiLink>(*Stream::adopting(std::move(host.ours), queue, nullptr), queue, clock));
  makeNonBlocking(host.theirs.get());
  takeEvents();
  hostSends(fromHex("00000042") + macInfoText);
  EXPECT_TRUE(hostReceived().starts_with(fromHex("00000064") + R"({"height":2796)"));
  queue->advance(2);
  EXPECT_EQ(hostReceived(), fromHex("00000008 0000000000000040"));  // 2.0, after 0.0
  hostSends(fromHex("00000010 0000000000000040 0102030405060708 00000005") + "frame");
  phone->announce(1'000'001);
  EXPECT_EQ(hostReceived(), fromHex("000F4241"));
  hostSends(fromHex("00000000"));
  EXPECT_EQ(takeEvents(), (Lines{macInfoText, "pong after 0.000000", "frame",
                                 "fault, link: a message announces 0 bytes", "disconnected: no message is that long"}));
}

}  // namespace
}  // namespace tandemview
