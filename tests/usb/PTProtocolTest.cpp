#include "usb/PTProtocol.h"

#include <gtest/gtest.h>

#include "fakes/ManualQueue.h"
#include "support/SocketPair.h"

namespace tandemview {
namespace {

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

}  // namespace
}  // namespace tandemview
