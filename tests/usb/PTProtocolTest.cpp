#include "usb/PTProtocol.h"

#include <gtest/gtest.h>

#include "fakes/ManualQueue.h"
#include "support/SocketPair.h"

namespace tandemview {
namespace {

using Lines = std::vector<std::string>;

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

/// What the frame loop reports, with payloads read or discarded by their type.
Lines framesOf(const std::string& bytes, std::size_t pieceSize) {
  const auto queue = ManualQueue::make();
  SocketPair pair;
  const auto stream = *Stream::adopting(std::move(pair.ours), queue, nullptr);
  Lines reports;
  PTProtocol::readFramesOverChannel(
      stream, [&](const std::optional<Error>& error, std::uint32_t type, std::uint32_t tag, std::uint32_t size,
                  const PTProtocol::ResumeBlock& resume) {
        if (error) return reports.push_back(error->domain + " " + std::to_string(error->code));
        const std::string header = std::to_string(type) + "/" + std::to_string(tag) + "/" + std::to_string(size);
        if (type == 9) {
          reports.push_back(header + " discarded");
          return PTProtocol::readAndDiscardDataOfSize(size, stream,
                                                      [resume](const std::optional<Error>&, bool) { resume(); });
        }
        if (size == 0) {
          reports.push_back(header);
          return resume();
        }
        PTProtocol::readPayloadOfSize(
            size, *stream, [&reports, header, resume](const std::optional<Error>&, std::optional<Data> payload) {
              reports.push_back(header + " " + std::string(payload ? payload->text() : "nothing"));
              resume();
            });
      });
  for (std::size_t start = 0; start < bytes.size(); start += pieceSize) {
    pair.send(std::string_view(bytes).substr(start, pieceSize));
    queue->drain();
  }
  pair.hangUp();
  queue->drain();
  return reports;
}

TEST(PTProtocolTest, ReadsFramesHoweverTheyAreCut) {
  const std::string two = fromHex("00000001 00000064 00000002 00000003 616263") +
                          fromHex("00000001 00000009 00000000 00000002 7878") +
                          fromHex("00000001 00000066 ffffffff 00000000");
  const Lines expected = {"100/2/3 abc", "9/0/2 discarded", "102/4294967295/0", "0/0/0"};
  for (std::size_t pieceSize = 1; pieceSize <= two.size(); ++pieceSize) {
    EXPECT_EQ(framesOf(two, pieceSize), expected) << pieceSize;
  }
  const std::string big = fromHex("00000001 00000009 00000000 00030d40") + std::string(200'000, 'x');
  EXPECT_EQ(framesOf(big, 50'000), (Lines{"9/0/200000 discarded", "0/0/0"}));
}

TEST(PTProtocolTest, BrokenStreamsEndWithTheRightError) {
  const struct {
    std::string bytes;
    Lines expected;
  } cases[] = {
      {"", {"0/0/0"}},
      {fromHex("00000002 00000064 00000000 00000000"), {"PTProtocolError 0"}},
      {fromHex("00000001 00000064 0000"), {"PTProtocolError 0"}},
      {fromHex("00000001 00000064 00000000 00000005 6162"), {"100/0/5 ab", "0/0/0"}},
      {fromHex("00000001 00000064 00000000 ffffffff"), {"100/0/4294967295 nothing", "0/0/0"}},
  };
  for (const auto& each : cases) EXPECT_EQ(framesOf(each.bytes, 7), each.expected);
}

}  // namespace
}  // namespace tandemview
