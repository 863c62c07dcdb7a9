#include "usb/PTProtocol.h"

#include <algorithm>
#include <array>
#include <limits>

#include "runtime/Assertion.h"
#include "runtime/BigEndian.h"

namespace tandemview {

namespace {

constexpr char sharedProtocolKey = 0;

/// How much of a payload that nobody wants is read at a time.
constexpr std::size_t discardedAtOnce = 64 * 1024;

Error protocolError() {
  return {ptProtocolErrorDomain, 0, ""};
}

}  // namespace

std::shared_ptr<PTProtocol> PTProtocol::sharedProtocolForQueue(const std::shared_ptr<Queue>& queue) {
  if (const auto shared = queue->specific(&sharedProtocolKey)) return std::static_pointer_cast<PTProtocol>(shared);
  auto protocol = std::make_shared<RQueueLocalIOFrameProtocol>();
  protocol->setQueue(queue);
  queue->setSpecific(&sharedProtocolKey, std::static_pointer_cast<PTProtocol>(protocol));
  return protocol;
}

PTProtocol::PTProtocol(std::weak_ptr<Queue> queue) : queue_(std::move(queue)) {}

std::uint32_t PTProtocol::newTag() {
  return ++lastTag_;
}

Data PTProtocol::createDispatchDataWithFrameOfType(std::uint32_t type, std::uint32_t frameTag,
                                                   const std::optional<Data>& payload) {
  const std::size_t payloadSize = payload ? payload->size() : 0;
  require(payloadSize <= std::numeric_limits<std::uint32_t>::max(), "payloadSize <= UINT32_MAX");
  std::array<std::byte, headerSize> header;
  auto end = header.begin();
  for (const std::uint32_t field : {version, type, frameTag, static_cast<std::uint32_t>(payloadSize)}) {
    end = std::ranges::copy(bigEndianBytes(field), end).out;
  }
  const Data frame = Data::copying(header);
  return payload ? frame.joinedWith(*payload) : frame;
}

void PTProtocol::sendFrameOfType(std::uint32_t type, std::uint32_t tag, const std::optional<Data>& withPayload,
                                 Stream& overChannel, SendCallback callback) {
  overChannel.write(createDispatchDataWithFrameOfType(type, tag, withPayload), std::move(callback));
}

void PTProtocol::readFrameOverChannel(Stream& channel, FrameCallback callback) {
  channel.read(headerSize, [callback = std::move(callback)](std::optional<Error> error, Data header) {
    if (error) return callback(std::move(error), 0, 0, 0);
    if (header.empty()) return callback(std::nullopt, endOfStreamType, 0, 0);
    if (header.size() < headerSize) return callback(protocolError(), 0, 0, 0);
    const auto field = [fields = header.bytes()](std::size_t index) {
      return bigEndianNumber(fields.subspan(4 * index).first<4>());
    };
    if (field(0) != version) return callback(protocolError(), 0, 0, 0);
    callback(std::nullopt, field(1), field(2), field(3));
  });
}

void PTProtocol::readPayloadOfSize(std::size_t size, Stream& overChannel, PayloadCallback callback) {
  overChannel.read(size, [callback = std::move(callback)](std::optional<Error> error, Data payload) {
    if (error || payload.empty()) return callback(std::move(error), std::nullopt);
    callback(std::nullopt, std::move(payload));
  });
}

void PTProtocol::readAndDiscardDataOfSize(std::size_t size, const std::shared_ptr<Stream>& overChannel,
                                          DiscardCallback callback) {
  const std::size_t now = std::min(size, discardedAtOnce);
  overChannel->read(now, [size, now, weak = std::weak_ptr(overChannel), callback = std::move(callback)](
                             std::optional<Error> error, const Data& discarded) {
    const auto channel = weak.lock();
    if (error || discarded.size() < now) return callback(std::move(error), discarded.empty());
    if (size == now || !channel) return callback(std::nullopt, false);
    readAndDiscardDataOfSize(size - now, channel, callback);
  });
}

void PTProtocol::readFramesOverChannel(const std::shared_ptr<Stream>& channel, OnFrame onFrame) {
  readFrameOverChannel(
      *channel, [weak = std::weak_ptr(channel), onFrame = std::move(onFrame)](
                    std::optional<Error> error, std::uint32_t type, std::uint32_t tag, std::uint32_t payloadSize) {
        const bool isLast = error || type == endOfStreamType;
        onFrame(std::move(error), type, tag, payloadSize, [weak, isLast, onFrame] {
          const auto stream = weak.lock();
          if (stream && !isLast) readFramesOverChannel(stream, onFrame);
        });
      });
}

}  // namespace tandemview
