#include "usb/PTChannel.h"

#include <fcntl.h>
#include <netinet/in.h>

#include <cerrno>

#include "companion/MuxDaemon.h"
#include "fakes/LogRecorder.h"
#include "support/QueueDriver.h"
#include "support/SocketPair.h"
#include "support/TemporaryDirectory.h"
#include "usb/PTUSBHub.h"

namespace tandemview {
namespace {

constexpr std::uint32_t loopback = INADDR_LOOPBACK;

TEST(PTProtocolTest, FramesAreLiteralBytes) {
  const Data frame = PTProtocol::createDispatchDataWithFrameOfType(5, 7, Data::copying("abc")).contiguous();
  EXPECT_EQ(frame.text(), fromHex("00000001 00000005 00000007 00000003 616263"));
  const std::string empty = fromHex("00000001 00000065 00000000 00000000");
  EXPECT_EQ(PTProtocol::createDispatchDataWithFrameOfType(101, 0, std::nullopt).text(), empty);
  EXPECT_EQ(PTProtocol::createDispatchDataWithFrameOfType(101, 0, Data()).contiguous().text(), empty);
}

TEST(PTProtocolTest, OneProtocolAQueueAndTagsFromOne) {
  const auto queue = ManualQueue::make();
  EXPECT_NE(PTProtocol::sharedProtocolForQueue(ManualQueue::make())->queue(), queue);
  const auto protocol = PTProtocol::sharedProtocolForQueue(queue);
  EXPECT_EQ(protocol->newTag(), 1u);
  EXPECT_EQ(PTProtocol::sharedProtocolForQueue(queue)->newTag(), 2u);
}

TEST(PTProtocolTest, APayloadThatNeverComesIsNoneAndNothingIsReadAfterTheEnd) {
  const auto queue = ManualQueue::make();
  SocketPair pair;
  const auto stream = *Stream::adopting(std::move(pair.ours), queue, nullptr);
  Lines reports;
  PTProtocol::readFramesOverChannel(stream, [&](const std::optional<Error>&, std::uint32_t type, std::uint32_t,
                                                std::uint32_t size, const PTProtocol::ResumeBlock& resume) {
    reports.push_back("type " + std::to_string(type));
    if (size == 0) return resume();
    PTProtocol::readPayloadOfSize(size, *stream, [&, resume](const std::optional<Error>&, std::optional<Data> payload) {
      reports.emplace_back(payload ? "a payload" : "none");
      resume();
    });
  });
  pair.send(fromHex("00000001 00000064 00000000 00000005"));
  pair.hangUp();
  queue->drain();
  EXPECT_EQ(reports, (Lines{"type 100", "none", "type 0"}));
}

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
  void ioFrameChannel(PTChannel& listener, const std::shared_ptr<PTChannel>& channel,
                      const PTAddress& address) override {
    EXPECT_EQ(address.name(), "127.0.0.1");
    accepted.push_back(channel);
    if (whenAccepted) whenAccepted(listener);
  }

  std::uint32_t refusedType = 0;
  std::function<void(PTChannel& listener)> whenAccepted;
  Lines events;
  std::vector<std::shared_ptr<PTChannel>> accepted;
};

/// How many descriptors a tool that is started now would inherit.
int inheritableDescriptors() {
  int count = 0;
  for (int descriptor = 3; descriptor < 1024; ++descriptor) {
    const int flags = ::fcntl(descriptor, F_GETFD);
    count += flags >= 0 && (flags & FD_CLOEXEC) == 0;
  }
  return count;
}

/// On the tests' queue and on the program's own, whose thread is the only one to touch the channels.
class PTChannelTest : public testing::TestWithParam<MakeQueueDriver> {
 protected:
  PTChannelTest() {
    on([&] {
      const auto protocol = PTProtocol::sharedProtocolForQueue(driver->queue());
      listener = PTChannel::channelWithDelegate(listenerDelegate, protocol);
      client = PTChannel::channelWithDelegate(clientDelegate, protocol);
    });
  }
  ~PTChannelTest() override {
    on([&] {
      for (const auto& channel : {listener, client}) channel->close();
      listenerDelegate->accepted.clear();
      listener = client = server = nullptr;
      hub = nullptr;
      daemon = nullptr;
      links.clear();
    });
  }

  void on(const Work& work) { driver->perform(work); }
  bool waitUntil(const std::function<bool()>& condition) { return driver->waitUntil(condition); }

  void listen() {
    on([&] {
      std::optional<Error> failure = posixError(EINPROGRESS);
      listener->listenOnPort(0, loopback, [&](const std::optional<Error>& error) { failure = error; });
      EXPECT_FALSE(failure);
      EXPECT_TRUE(listener->isListening());
    });
  }
  void connect() {
    on([&] {
      client->connectToPort(listener->listeningPort(), loopback, record);
      EXPECT_TRUE(client->isConnected()) << "a channel that is still connecting counts";
    });
  }
  void connectBothEnds() {
    listen();
    connect();
    ASSERT_TRUE(waitUntil([&] { return !outcomes.empty() && !listenerDelegate->accepted.empty(); }));
    EXPECT_EQ(outcomes, Lines{"connected"});
    on([&] {
      server = listenerDelegate->accepted.back();
      server->setDelegate(serverDelegate);
    });
  }
  /// What the client tells of bytes that come in pieces, and of the end that follows them.
  Lines eventsOf(const std::string& bytes, std::size_t pieceSize = 7, bool leavesUnread = false) {
    SocketPair pair;
    clientDelegate->events.clear();
    on([&] {
      const auto stream =
          Stream::adopting(std::move(pair.ours), driver->queue(), [channel = client] { channel->streamDidEnd(); });
      EXPECT_FALSE(client->startReadingFromConnectedChannel(*stream));
      if (leavesUnread) client->sendFrameOfType(101, 0, std::nullopt, nullptr);
    });
    for (std::size_t start = 0; start < bytes.size(); start += pieceSize) {
      pair.send(std::string_view(bytes).substr(start, pieceSize));
      waitUntil([] { return true; });
    }
    pair.hangUp();
    const auto hasEnded = [&] {
      return !clientDelegate->events.empty() && clientDelegate->events.back().starts_with("ended");
    };
    EXPECT_TRUE(waitUntil(hasEnded));
    return clientDelegate->events;
  }
  void send(const std::shared_ptr<PTChannel>& from, std::uint32_t type, std::optional<Data> payload,
            std::uint32_t tag = 0) {
    on([&] { from->sendFrameOfType(type, tag, std::move(payload), nullptr); });
  }

  std::shared_ptr<QueueDriver> driver = GetParam()();
  std::shared_ptr<RecordingDelegate> listenerDelegate = std::make_shared<RecordingDelegate>();
  std::shared_ptr<RecordingDelegate> serverDelegate = std::make_shared<RecordingDelegate>();
  std::shared_ptr<RecordingDelegate> clientDelegate = std::make_shared<RecordingDelegate>();
  std::shared_ptr<PTChannel> listener;
  std::shared_ptr<PTChannel> client;
  std::shared_ptr<PTChannel> server;
  Lines outcomes;  // of the client's connects
  const PTChannel::Callback record = [this](const std::optional<Error>& error) {
    outcomes.push_back(error ? error->domain + " " + std::to_string(error->code) : "connected");
  };
  TemporaryDirectory directory;
  std::shared_ptr<MuxDaemon> daemon;
  std::vector<std::shared_ptr<Stream>> links;  // the daemon's ends of the connections to its device
  std::shared_ptr<PTUSBHub> hub;
};

INSTANTIATE_TEST_SUITE_P(Queues, PTChannelTest, everyQueue, nameOfQueue);

TEST_P(PTChannelTest, CarriesFramesBothWaysAndTellsTheEnd) {
  const int inheritable = inheritableDescriptors();
  serverDelegate->refusedType = 9;
  connectBothEnds();
  EXPECT_EQ(inheritableDescriptors(), inheritable);
  client->setUserInfo(std::string("dev"));
  EXPECT_TRUE(client->description().ends_with(" (connected) dev>")) << client->description();
  EXPECT_TRUE(listener->description().ends_with(" (listening)>")) << listener->description();
  EXPECT_EQ(client->peerAddress()->description(), "127.0.0.1:" + std::to_string(listener->listeningPort()));
  EXPECT_EQ(PTAddress().description(), "(?)");
  EXPECT_EQ(PTAddress().port(), 0);
  send(client, 9, Data::copying(std::string(1000, 'x')));
  send(client, 5, Data::copying("abc"), 7);
  send(client, 6, std::nullopt);
  send(server, 8, Data::copying("back"), 1);
  const Lines atServer = {"5/7 abc", "6/0 nothing"};
  ASSERT_TRUE(waitUntil([&] { return serverDelegate->events == atServer && !clientDelegate->events.empty(); }));
  EXPECT_EQ(clientDelegate->events, Lines{"8/1 back"});

  on([&] {
    client->close();
    EXPECT_FALSE(client->isConnected());
  });
  ASSERT_TRUE(waitUntil([&] { return serverDelegate->events.back() == "ended"; }));
  EXPECT_EQ(clientDelegate->events.back(), "ended");
  EXPECT_FALSE(server->isConnected());
  on([&] { listener->close(); });
  ASSERT_TRUE(waitUntil([&] { return !listenerDelegate->events.empty(); }));
  EXPECT_EQ(listenerDelegate->events, Lines{"ended"});
  EXPECT_FALSE(listener->isListening());
}

TEST_P(PTChannelTest, ReadsFramesHoweverTheyAreCut) {
  clientDelegate->refusedType = 9;
  on([&] { client->setDelegate(clientDelegate); });  // asks it what it wants
  const std::string frames = fromHex("00000001 00000064 00000002 00000003 616263") +
                             fromHex("00000001 00000009 00000000 00000002 7878") +
                             fromHex("00000001 00000066 ffffffff 00000000");
  const Lines events = {"100/2 abc", "102/4294967295 nothing", "ended"};
  for (std::size_t pieceSize = 1; pieceSize <= frames.size(); ++pieceSize) {
    EXPECT_EQ(eventsOf(frames, pieceSize), events) << pieceSize;
  }
  const std::string big = fromHex("00000001 00000009 00000000 00030d40") + std::string(200'000, 'x');
  EXPECT_TRUE(eventsOf(big + frames, 50'000) == events);
}

TEST_P(PTChannelTest, AFramingErrorEndsTheChannelAndIsNotTheNextOnes) {
  const Lines framingError = {"ended PTProtocolError"};
  EXPECT_EQ(eventsOf(fromHex("00000002 00000064 00000000 00000000")), framingError);
  EXPECT_EQ(eventsOf(""), Lines{"ended"});
  EXPECT_EQ(eventsOf(fromHex("00000001 00000064 0000")), framingError);
  EXPECT_EQ(eventsOf(fromHex("00000001 00000064 00000000 00000005") + "half"), Lines{"ended"});
  EXPECT_EQ(eventsOf(fromHex("00000001 00000064 00000000 ffffffff")), Lines{"ended"});
  EXPECT_EQ(eventsOf("", 1, /*leavesUnread=*/true), Lines{"ended NSPOSIXErrorDomain"});
}

TEST_P(PTChannelTest, RefusesWhatItsStateForbids) {
  const auto codeOf = [&](const std::function<void(PTChannel::Callback)>& operation) {
    std::int64_t code = -1;
    on([&] { operation([&code](const std::optional<Error>& error) { code = error ? error->code : 0; }); });
    return code;
  };
  const auto send = [&](PTChannel& channel) {
    return codeOf([&](auto callback) { channel.sendFrameOfType(101, 0, Data::copying("x"), callback); });
  };
  EXPECT_EQ(send(*client), EPERM);
  EXPECT_EQ(client->listeningPort(), 0);
  EXPECT_EQ(codeOf([&](auto callback) { listener->listenOnPort(0, loopback, callback); }), 0);
  EXPECT_EQ(send(*listener), EPERM);
  EXPECT_EQ(codeOf([&](auto callback) { listener->connectToPort(1, loopback, callback); }), EPERM);
  EXPECT_EQ(codeOf([&](auto callback) { callback(listener->startReadingFromConnectedChannel(nullptr)); }), EPERM);
  EXPECT_EQ(codeOf([&](auto callback) {
              PTChannel::channelWithDelegate({}, client->protocol())
                  ->listenOnPort(listener->listeningPort(), loopback, callback);
            }),
            EADDRINUSE);
  std::uint16_t deadPort = 0;
  on([&] {
    deadPort = listener->listeningPort();
    listener->close();
    client->connectToPort(deadPort, loopback, record);
  });
  ASSERT_TRUE(waitUntil([&] { return !outcomes.empty(); }));
  EXPECT_EQ(outcomes, Lines{"NSPOSIXErrorDomain " + std::to_string(ECONNREFUSED)});
  EXPECT_FALSE(client->isConnected());
}

/// Each form of connecting is given up in both ways, and the channel is free for the next connect at once.
TEST_P(PTChannelTest, AConnectUnderWayIsGivenUp) {
  on([&] {
    const std::string path = directory.path() + "/usbmuxd";
    daemon = *MuxDaemon::listeningAt(
        path, driver->queue(), [](auto...) { return MuxResult::success; },
        [this](std::int64_t, std::shared_ptr<Stream> stream) { links.push_back(std::move(stream)); });
    hub = PTUSBHub::listeningHub({.socketPath = path,
                                  .program = {.name = "Tandemview"},
                                  .queue = driver->queue(),
                                  .notificationCenter = std::make_shared<NotificationCenter>()});
    daemon->attach(7);
  });
  const std::function<void()> connects[] = {
      [&] { client->connectToPort(listener->listeningPort(), loopback, record); },
      [&] { client->connectToPort(2345, hub, 7, record); },
  };
  listen();
  for (const auto& connectNow : connects) {
    outcomes.clear();
    on([&] {
      for (const auto end : {&PTChannel::close, &PTChannel::cancel}) {
        connectNow();
        (client.get()->*end)();
        EXPECT_FALSE(client->isConnected());
      }
      EXPECT_TRUE(outcomes.empty()) << "never within the call";
      connectNow();
    });
    const std::string givenUp = "NSPOSIXErrorDomain " + std::to_string(ECANCELED);
    ASSERT_TRUE(waitUntil([&] { return outcomes.size() == 3; }));
    EXPECT_EQ(outcomes, (Lines{givenUp, givenUp, "connected"}));
    on([&] {
      EXPECT_TRUE(client->isConnected());
      connectNow();
      client->listenOnPort(0, loopback, record);
      client->close();
    });
    const std::string inUse = "NSPOSIXErrorDomain " + std::to_string(EPERM);
    EXPECT_EQ(outcomes, (Lines{givenUp, givenUp, "connected", inUse, inUse}));
  }
}

TEST_P(PTChannelTest, AListenerMayBeClosedAndReopenedWithinItsNotice) {
  std::uint16_t port = 0;
  listenerDelegate->whenAccepted = [&](PTChannel& channel) {
    port = channel.listeningPort();
    channel.close();
    channel.listenOnPort(port, loopback, [](const std::optional<Error>& error) { EXPECT_FALSE(error); });
  };
  listen();
  for (std::size_t connection = 1; connection <= 3; ++connection) {
    connect();
    ASSERT_TRUE(
        waitUntil([&] { return outcomes.size() == connection && listenerDelegate->accepted.size() == connection; }));
    on([&] {
      EXPECT_EQ(listener->listeningPort(), port);
      client->close();
    });
  }
}

TEST_P(PTChannelTest, OnlyAFailureToAcceptIsReported) {
  LogRecorder log;
  listen();
  Descriptor quiet = newSocket(AF_INET, SOCK_STREAM);
  ASSERT_TRUE(makeNonBlocking(quiet.get()));
  ASSERT_EQ(::listen(quiet.get(), 1), 0);
  on([&] {
    EXPECT_TRUE(listener->acceptIncomingConnection(quiet.get())) << "the peer has gone before it was accepted";
    EXPECT_FALSE(listener->acceptIncomingConnection(-1));
  });
  EXPECT_EQ(log.take(), Lines{"accept(): Bad file descriptor"});
  listenerDelegate->whenAccepted = [&](PTChannel&) { listenerDelegate->accepted.back()->close(); };
  connect();
  EXPECT_TRUE(waitUntil([&] { return clientDelegate->events == Lines{"ended"}; }));
  EXPECT_FALSE(listenerDelegate->accepted.back()->isConnected());
  on([&] { listener->setDelegate({}); });
  connect();
  EXPECT_TRUE(waitUntil([&] {
    return clientDelegate->events == Lines{"ended", "ended"};
  })) << "nobody wants to have it";
}

/// A listener and a client where the system watches no more than a few descriptors.
TEST(PTChannelBoundsTest, WhatCannotBeWatchedIsGivenUpAndTheChannelIsFree) {
  LogRecorder log;
  const auto queue = ManualQueue::make();
  const auto protocol = PTProtocol::sharedProtocolForQueue(queue);
  const auto delegate = std::make_shared<RecordingDelegate>();
  const auto listener = PTChannel::channelWithDelegate(delegate, protocol);
  const auto client = PTChannel::channelWithDelegate({}, protocol);
  Lines outcomes;
  const auto record = [&](const std::optional<Error>& error) {
    outcomes.push_back(error ? error->wholeDescription() : "done");
  };
  const std::string full = posixError(ENOSPC).wholeDescription();
  const std::string refusal = "accept(): " + posixError(ENOSPC).description;
  const auto connect = [&] { client->connectToPort(listener->listeningPort(), loopback, record); };

  queue->setMostWatched(0);
  listener->listenOnPort(0, loopback, record);
  connect();
  EXPECT_EQ(outcomes, (Lines{full, full}));
  queue->setMostWatched(2);
  listener->listenOnPort(0, loopback, record);
  connect();
  queue->setMostWatched(1);  // neither end of the connection has its own any more
  ASSERT_TRUE(queue->drainUntil([&] { return outcomes.size() == 4 && log.count(refusal) == 1; }));
  EXPECT_EQ(outcomes.back(), (Error{ptErrorDomain, 0, ""}).wholeDescription());

  queue->setMostWatched(3);
  connect();
  ASSERT_TRUE(queue->drainUntil([&] { return outcomes.size() == 5; }));
  EXPECT_EQ(outcomes.back(), "done");
  EXPECT_TRUE(delegate->accepted.empty()) << "the listener rests";
  queue->advance(1);
  EXPECT_EQ(delegate->accepted.size(), 1);
}

}  // namespace
}  // namespace tandemview
