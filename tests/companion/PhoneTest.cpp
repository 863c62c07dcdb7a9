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

const std::string macInfo = fromHex("00000001 0000006A 00000000 00000012") + R"({"kind":"macInfo"})";
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
  void phoneDidDisconnect(const std::string& reason) override { events.push_back("disconnected: " + reason); }
  void phoneDidMeetHost(const std::string& info) override { events.push_back(info); }
  void phoneDidReceiveFrame(const Phone&, const Data& payload, double) override { events.emplace_back(payload.text()); }
  void phoneDidReceivePong(double seconds) override { events.push_back("pong after " + std::to_string(seconds)); }
  void phoneDidSeeFault(const std::string& fault) override { events.push_back("fault: " + fault); }

  std::vector<std::string> events;
  std::shared_ptr<ManualQueue> queue = ManualQueue::make();
  ManualClock clock{queue, 0};
  SocketPair host;
  std::shared_ptr<Phone> phone = std::make_shared<Phone>(
      queue, clock, MacProtocol::DeviceInfo{1290, 2796, 3, "medium", "Portrait", "phone"}, 2, *this);
};

TEST_F(PhoneTest, GreetsThenPings) {
  queue->advance(5);
  EXPECT_EQ(hostReceived(), "") << "the host speaks first";
  hostSends(macInfo);
  EXPECT_EQ(
      hostReceived(),
      fromHex("00000001 00000064 00000000 00000064") +
          R"({"height":2796,"idiom":"phone","orientation":"Portrait","quality":"medium","scale":3.0,"width":1290})");
  queue->advance(2);
  const std::string ping = fromHex("00000001 00000066 00000000 00000008") + fromHex("0000000000001C40");  // 7.0
  EXPECT_EQ(hostReceived(), ping);
  queue->advance(0.5);
  hostSends(fromHex("00000001 00000067 00000000 00000010 0000000000001C40 0102030405060708"));
  EXPECT_EQ(takeEvents(), (std::vector<std::string>{"connected", R"({"kind":"macInfo"})", "pong after 0.500000"}));
}

TEST_F(PhoneTest, SeesTheHostsFaults) {
  const struct {
    std::string bytes;
    std::vector<std::string> events;
  } cases[] = {
      {frame, {"fault: a video frame before the Mac info", "frame"}},
      {fromHex("00000001 0000006A 00000000 00000000"), {"fault: Mac info that is none"}},
      {macInfo + macInfo, {R"({"kind":"macInfo"})", "fault: a second Mac info"}},
      {fromHex("00000001 00000064 00000000 00000001 78"), {"fault: a frame of type 100, which no host sends"}},
      {fromHex("00000001 00000067 00000000 00000010 0000000000001C40 0102030405060708"),
       {"fault: a pong that answers no ping"}},
      {fromHex("00000001 00000067 00000009 00000000"),
       {"fault: a frame of type 103 has the tag 9", "fault: a pong that answers no ping"}},
      {fromHex("00000001 00000065 00000000 FFFFFFFF"),
       {"fault: a frame of type 101 announces 4294967295 bytes", "disconnected: no message is that long"}},
  };
  for (const auto& [bytes, expected] : cases) {
    host = SocketPair();
    connect(host);
    takeEvents();
    hostSends(bytes);
    EXPECT_EQ(takeEvents(), expected);
  }
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
  EXPECT_EQ(takeEvents(), std::vector<std::string>{});
  queue->advance(0.2);
  EXPECT_EQ(takeEvents(), (std::vector<std::string>{"frame", "frame"}));
}

TEST_F(PhoneTest, SpeaksInEnvelopesOverWiFi) {
  host = SocketPair();
  phone->accept(std::make_shared<WiFiLink>(*Stream::adopting(std::move(host.ours), queue, nullptr), queue, clock));
  makeNonBlocking(host.theirs.get());
  takeEvents();
  hostSends(fromHex("00000012") + R"({"kind":"macInfo"})");
  EXPECT_TRUE(hostReceived().starts_with(fromHex("00000064") + R"({"height":2796)"));
  queue->advance(2);
  EXPECT_EQ(hostReceived(), fromHex("00000008 0000000000000040"));  // 2.0
  hostSends(fromHex("00000010 0000000000000040 0102030405060708 00000005") + "frame");
  phone->announce(1'000'001);
  EXPECT_EQ(hostReceived(), fromHex("000F4241"));
  hostSends(fromHex("00000000"));
  EXPECT_EQ(takeEvents(),
            (std::vector<std::string>{R"({"kind":"macInfo"})", "pong after 0.000000", "frame",
                                      "fault: a message announces 0 bytes", "disconnected: no message is that long"}));
}

}  // namespace
}  // namespace tandemview
