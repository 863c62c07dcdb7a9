#include <cstdint>
#include <memory>

#include "fakes/ManualQueue.h"
#include "runtime/Log.h"
#include "support/SocketPair.h"
#include "usb/PTChannel.h"

using namespace tandemview;

namespace {

class TouchingDelegate final : public PTChannelDelegate {
 public:
  void ioFrameChannel(PTChannel& channel, std::uint32_t type, std::uint32_t tag, std::optional<Data> payload) override {
    if (type % 7 == 3) channel.close();
    if (payload) channel.sendFrameOfType(type, tag, payload->contiguous(), nullptr);
  }
  using PTChannelDelegate::ioFrameChannel;
};

}  // namespace

/// A peer's bytes, cut into pieces of the size that the first byte says.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Log::setSink([](std::string_view) {});
  if (size == 0 || size > 64 * 1024) return 0;
  const auto queue = ManualQueue::make();
  SocketPair pair;
  const auto delegate = std::make_shared<TouchingDelegate>();
  const auto channel = PTChannel::channelWithDelegate(delegate, PTProtocol::sharedProtocolForQueue(queue));
  channel->startReadingFromConnectedChannel(*Stream::adopting(std::move(pair.ours), queue, nullptr));
  const std::size_t pieceSize = 1 + bytes[0] * 16;
  std::string_view rest(reinterpret_cast<const char*>(bytes + 1), size - 1);
  while (!rest.empty() && channel->isConnected()) {
    pair.send(rest.substr(0, pieceSize));
    rest.remove_prefix(std::min(pieceSize, rest.size()));
    queue->drain();
  }
  pair.hangUp();
  queue->advance(10);
  return 0;
}
