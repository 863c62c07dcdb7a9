#include "usb/PTChannel.h"

#include <gtest/gtest.h>
#include <netinet/in.h>

#include <cerrno>

#include "fakes/ManualQueue.h"
#include "support/SocketPair.h"

namespace tandemview {
namespace {

constexpr std::uint32_t loopback = INADDR_LOOPBACK;

class RecordingDelegate final : public PTChannelDelegate {
 public:
  Wants wants() const override {
    return {.acceptTest = refusedType != 0, .endNotice = true, .acceptedConnections = true};
  }
  void ioFrameChannel(PTChannel&, std::uint32_t type, std::uint32_t tag, std::optional<Data> payload) override {
    events.push_back(std::to_string(type) + "/" + std::to_string(tag) + " " +
                     std::string(payload ? payload->text() : "nothing"));
  }
  bool ioFrameChannel(PTChannel&, std::uint32_t type, std::uint32_t, std::uint32_t) override {
    return type != refusedType;
  }
  void ioFrameChannel(PTChannel&, const std::optional<Error>& error) override {
    events.push_back(error ? "ended " + error->domain : "ended");
  }
  void ioFrameChannel(PTChannel&, const std::shared_ptr<PTChannel>& channel, const PTAddress& address) override {
    EXPECT_EQ(address.name(), "127.0.0.1");
    accepted = channel;
  }

  std::uint32_t refusedType = 0;
  std::vector<std::string> events;
  std::shared_ptr<PTChannel> accepted;
};

class PTChannelTest : public testing::Test {
 protected:
  void connectBothEnds() {
    std::optional<Error> failure;
    listener->listenOnPort(0, loopback, [&](const std::optional<Error>& error) { failure = error; });
    ASSERT_FALSE(failure);
    ASSERT_TRUE(listener->isListening());
    bool isConnected = false;
    client->connectToPort(listener->listeningPort(), loopback,
                          [&](const std::optional<Error>& error) { isConnected = !error; });
    EXPECT_TRUE(client->isConnected()) << "a channel that is still connecting counts";
    ASSERT_TRUE(queue->drainUntil([&] { return isConnected && listenerDelegate->accepted; }));
    server = listenerDelegate->accepted;
    server->setDelegate(serverDelegate);
  }

  std::shared_ptr<ManualQueue> queue = ManualQueue::make();
  std::shared_ptr<PTProtocol> protocol = PTProtocol::sharedProtocolForQueue(queue);
  std::shared_ptr<RecordingDelegate> listenerDelegate = std::make_shared<RecordingDelegate>();
  std::shared_ptr<RecordingDelegate> serverDelegate = std::make_shared<RecordingDelegate>();
  std::shared_ptr<RecordingDelegate> clientDelegate = std::make_shared<RecordingDelegate>();
  std::shared_ptr<PTChannel> listener = PTChannel::channelWithDelegate(listenerDelegate, protocol);
  std::shared_ptr<PTChannel> client = PTChannel::channelWithDelegate(clientDelegate, protocol);
  std::shared_ptr<PTChannel> server;
};

TEST_F(PTChannelTest, CarriesFramesBothWaysAndTellsTheEnd) {
  serverDelegate->refusedType = 9;
  connectBothEnds();
  client->sendFrameOfType(9, 0, Data::copying(std::string(1000, 'x')), nullptr);
  client->sendFrameOfType(5, 7, Data::copying("abc"), nullptr);
  client->sendFrameOfType(6, 0, std::nullopt, nullptr);
  server->sendFrameOfType(8, 1, Data::copying("back"), nullptr);
  const std::vector<std::string> atServer = {"5/7 abc", "6/0 nothing"};
  ASSERT_TRUE(queue->drainUntil([&] { return serverDelegate->events == atServer && !clientDelegate->events.empty(); }));
  EXPECT_EQ(clientDelegate->events, std::vector<std::string>{"8/1 back"});

  client->close();
  EXPECT_FALSE(client->isConnected());
  ASSERT_TRUE(queue->drainUntil([&] { return serverDelegate->events.back() == "ended"; }));
  EXPECT_EQ(clientDelegate->events.back(), "ended");
  EXPECT_FALSE(server->isConnected());
  listener->close();
  queue->drain();
  EXPECT_EQ(listenerDelegate->events, std::vector<std::string>{"ended"});
  EXPECT_FALSE(listener->isListening());
}

TEST_F(PTChannelTest, AFramingErrorEndsTheChannelWithIt) {
  SocketPair pair;
  const auto stream = Stream::adopting(std::move(pair.ours), queue, [this] { client->streamDidEnd(); });
  EXPECT_FALSE(client->startReadingFromConnectedChannel(stream));
  pair.send(fromHex("00000002 00000064 00000000 00000000"));
  queue->drain();
  EXPECT_EQ(clientDelegate->events, std::vector<std::string>{"ended PTProtocolError"});
}

TEST_F(PTChannelTest, RefusesWhatItsStateForbids) {
  const auto codeOf = [](const auto& operation) {
    std::int64_t code = -1;
    operation([&code](const std::optional<Error>& error) { code = error ? error->code : 0; });
    return code;
  };
  const auto send = [&](PTChannel& channel) {
    return codeOf([&](auto callback) { channel.sendFrameOfType(101, 0, Data::copying("x"), callback); });
  };
  EXPECT_EQ(send(*client), EPERM);
  EXPECT_EQ(codeOf([&](auto callback) { listener->listenOnPort(0, loopback, callback); }), 0);
  EXPECT_EQ(send(*listener), EPERM);
  EXPECT_EQ(codeOf([&](auto callback) { listener->connectToPort(1, loopback, callback); }), EPERM);
  const auto other = PTChannel::channelWithDelegate({}, protocol);
  EXPECT_EQ(codeOf([&](auto callback) { other->listenOnPort(listener->listeningPort(), loopback, callback); }),
            EADDRINUSE);

  const std::uint16_t deadPort = listener->listeningPort();
  listener->close();
  queue->drain();
  std::int64_t code = -1;
  client->connectToPort(deadPort, loopback, [&](const std::optional<Error>& error) { code = error ? error->code : 0; });
  ASSERT_TRUE(queue->drainUntil([&] { return code >= 0; }));
  EXPECT_EQ(code, ECONNREFUSED);
  EXPECT_FALSE(client->isConnected());
}

TEST_F(PTChannelTest, DescribesItself) {
  connectBothEnds();
  client->setUserInfo(std::string("dev"));
  EXPECT_TRUE(client->description().ends_with(" (connected) dev>")) << client->description();
  EXPECT_TRUE(listener->description().ends_with(" (listening)>")) << listener->description();
  EXPECT_EQ(client->peerAddress()->description(), "127.0.0.1:" + std::to_string(listener->listeningPort()));
  EXPECT_EQ(PTAddress().description(), "(?)");
}

}  // namespace
}  // namespace tandemview
