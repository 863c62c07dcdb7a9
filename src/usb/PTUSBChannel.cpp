#include "usb/PTUSBChannel.h"

#include <array>
#include <bit>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "runtime/Assertion.h"
#include "runtime/Log.h"
#include "runtime/Socket.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

/// No longer one could be understood; what a broken daemon can make us keep stays bounded.
constexpr std::uint32_t longestPacket = PTUSBChannel::packetHeaderSize + longestPropertyList;

/// Byte offsets of a packet's fields after its size, which is read first.
constexpr std::size_t sizeFieldLength = 4;

struct PacketHeader {
  std::uint32_t size;
  std::uint32_t protocol;
  std::uint32_t type;
  std::uint32_t tag;
};
static_assert(sizeof(PacketHeader) == PTUSBChannel::packetHeaderSize);
static_assert(std::endian::native == std::endian::little, "the daemon's packets are in the host's own order");

Error hubError(std::int64_t code, const char* description) {
  return {ptUSBHubErrorDomain, code, description};
}

/// Why fewer bytes came than were asked for.
Error reasonOf(const std::optional<Error>& readError) {
  return readError.value_or(posixError(ECONNRESET));
}

/// The result codes of the daemon's replies.
const char* resultDescription(std::int64_t number) {
  switch (number) {
    case 1:
      return "illegal command";
    case 2:
      return "unknown device";
    case 3:
      return "connection refused";
    case 6:
      return "invalid version";
    default:
      return "Unspecified error";
  }
}

}  // namespace

PropertyList PTUSBChannel::packetDictionaryWithPacketType(const std::string& messageType, PropertyList payload,
                                                          const ProgramInfo& program) {
  payload["MessageType"] = messageType;
  payload["ProgName"] = program.name;
  payload["ClientVersionString"] = program.build;
  return payload;
}

std::optional<Error> PTUSBChannel::errorFromPlistResponse(const PropertyList& reply) {
  const auto number = reply.find("Number");
  if (number == reply.end() || !number->is_number_integer()) return hubError(0, "");
  const auto code = number->get<std::int64_t>();
  if (code == 0) return std::nullopt;
  return hubError(code, resultDescription(code));
}

PTUSBChannel::PTUSBChannel(ProgramInfo program) : program_(std::move(program)) {}

std::optional<Error> PTUSBChannel::openOnQueue(std::shared_ptr<Queue> queue, const std::string& path, Callback onEnd) {
  require(queue != nullptr, "queue != nil");
  require(channel_ == nullptr, "channel_ == nil");
  Result<Descriptor> socket = connectedUnixSocket(path);
  if (!socket) return socket.error();
  Result<std::shared_ptr<Stream>> stream =
      Stream::adopting(std::move(*socket), std::move(queue), [onEnd = std::move(onEnd)] {
        if (onEnd) onEnd(std::nullopt);
      });
  if (!stream) return stream.error();
  channel_ = std::move(*stream);
  return std::nullopt;
}

void PTUSBChannel::listenWithBroadcastHandler(BroadcastHandler broadcastHandler, Callback callback) {
  keepsReading_ = true;
  scheduleReadPacketWithBroadcastHandler(std::move(broadcastHandler));
  sendRequest(packetDictionaryWithPacketType("Listen", PropertyList::object(), program_),
              [callback = std::move(callback)](std::optional<Error> error, const PropertyList& reply) {
                callback(error ? std::move(error) : errorFromPlistResponse(reply));
              });
}

void PTUSBChannel::sendRequest(const PropertyList& packet, ReplyCallback callback) {
  const std::uint32_t tag = nextPacketTag();
  // Registered before the write: a reply may come in before the write's completion does.
  repliesByTag_[tag] = std::move(callback);
  sendPacket(packet, tag, weakly(this, [tag](PTUSBChannel& channel, const std::optional<Error>& error) {
               if (error && channel.repliesByTag_.contains(tag)) channel.dispatchPacket(error, {}, tag, nullptr);
             }));
  setNeedsReadingPacket();
}

std::uint32_t PTUSBChannel::nextPacketTag() {
  return ++lastPacketTag_;
}

void PTUSBChannel::sendPacket(const PropertyList& packet, std::uint32_t tag, Callback callback) {
  const Result<Data> payload = xmlPropertyList(packet);
  if (!payload) return callback(payload.error());
  sendPacketOfType(packetTypePlist, packetProtocolPlist, tag, *payload, std::move(callback));
}

void PTUSBChannel::sendPacketOfType(std::uint32_t type, std::uint32_t overProtocol, std::uint32_t tag,
                                    const Data& payload, Callback callback) {
  require(payload.size() <= kUsbmuxPacketMaxPayloadSize, "payload.length <= kUsbmuxPacketMaxPayloadSize");
  const PacketHeader header = {static_cast<std::uint32_t>(packetHeaderSize + payload.size()), overProtocol, type, tag};
  sendDispatchData(Data::copying(std::as_bytes(std::span(&header, 1))).joinedWith(payload), std::move(callback));
}

void PTUSBChannel::sendDispatchData(Data data, Callback callback) {
  channel_->write(std::move(data), std::move(callback));
}

void PTUSBChannel::sendData(std::span<const std::byte> data, Callback callback) {
  sendDispatchData(Data::copying(data), std::move(callback));
}

void PTUSBChannel::readLength(std::size_t length, Stream::ReadCompletion callback) {
  channel_->read(length, std::move(callback));
}

void PTUSBChannel::scheduleReadPacketWithCallback(PacketCallback callback) {
  require(!isReadingPackets_, "isReadingPackets_ == NO");
  isReadingPackets_ = true;
  readLength(sizeFieldLength,
             weakly(this, [callback = std::move(callback)](PTUSBChannel& channel, const std::optional<Error>& error,
                                                           const Data& field) {
               if (field.size() < sizeFieldLength) return channel.endWithError(reasonOf(error), callback);
               std::uint32_t size = 0;
               std::memcpy(&size, field.bytes().data(), sizeof(size));
               if (size < packetHeaderSize)
                 return channel.endWithError(hubError(0, "Unexpected package size"), callback);
               if (size > longestPacket) {
                 return channel.endWithError(hubError(1, "Received a packet that is too large"), callback);
               }
               channel.readPacketBody(size, callback);
             }));
}

void PTUSBChannel::readPacketBody(std::uint32_t size, PacketCallback callback) {
  const std::size_t length = size - sizeFieldLength;
  readLength(length, weakly(this, [length, callback = std::move(callback)](
                                      PTUSBChannel& channel, const std::optional<Error>& error, const Data& body) {
               if (body.size() < length) return channel.endWithError(reasonOf(error), callback);

               PacketHeader header{};
               std::memcpy(&header.protocol, body.bytes().data(), packetHeaderSize - sizeFieldLength);
               if (header.protocol != packetProtocolPlist) {
                 return channel.finishPacket(hubError(0, "Unexpected package protocol"), {}, header.tag, callback);
               }
               if (header.type != packetTypePlist) {
                 return channel.finishPacket(hubError(0, "Unexpected package type"), {}, header.tag, callback);
               }
               const auto payload = body.bytes().subspan(packetHeaderSize - sizeFieldLength);
               const auto packet = dictionaryWithContentsOfData(Data(body.segments().front().owner, payload));
               if (!packet && !payload.empty()) {
                 return channel.finishPacket(hubError(0, "Unreadable property list"), {}, header.tag, callback);
               }
               channel.finishPacket(std::nullopt, packet.value_or(PropertyList::object()), header.tag, callback);
             }));
}

void PTUSBChannel::finishPacket(std::optional<Error> error, const PropertyList& packet, std::uint32_t tag,
                                const PacketCallback& callback) {
  isReadingPackets_ = false;
  callback(std::move(error), packet, tag);
}

/// The stream can't give another packet: whoever waits for a reply learns it, and the stream is torn down.
void PTUSBChannel::endWithError(const Error& error, const PacketCallback& callback) {
  hasEnded_ = true;
  finishPacket(error, {}, 0, callback);
  failRequests(error);
  stop();
}

void PTUSBChannel::failRequests(const Error& error) {
  const auto replies = std::exchange(repliesByTag_, {});
  for (const auto& [tag, reply] : replies) reply(error, {});
}

void PTUSBChannel::scheduleReadPacketWithBroadcastHandler(BroadcastHandler broadcastHandler) {
  scheduleReadPacketWithCallback(
      weakly(this, [broadcastHandler](PTUSBChannel& channel, const std::optional<Error>& error,
                                      const PropertyList& packet, std::uint32_t tag) {
        if (!channel.hasEnded_) channel.dispatchPacket(error, packet, tag, broadcastHandler);
        const bool isAwaited = channel.keepsReading_ || !channel.repliesByTag_.empty();
        if (isAwaited && !channel.hasEnded_ && !channel.isReadingPackets_) {
          channel.scheduleReadPacketWithBroadcastHandler(broadcastHandler);
        }
      }));
}

void PTUSBChannel::dispatchPacket(const std::optional<Error>& error, const PropertyList& packet, std::uint32_t tag,
                                  const BroadcastHandler& broadcastHandler) {
  if (tag == 0) {
    if (broadcastHandler && !error) broadcastHandler(packet);
    return;
  }
  const auto found = repliesByTag_.find(tag);
  if (found == repliesByTag_.end()) {
    Log::print("Warning: Ignoring reply packet for which there is no registered callback. Packet => {}",
               packet.dump(-1, ' ', false, PropertyList::error_handler_t::replace));
    return;
  }
  const ReplyCallback callback = std::move(found->second);
  repliesByTag_.erase(found);
  callback(error, packet);
}

void PTUSBChannel::setNeedsReadingPacket() {
  if (!isReadingPackets_) scheduleReadPacketWithBroadcastHandler(nullptr);
}

void PTUSBChannel::cancel() {
  if (channel_) channel_->close();
}

void PTUSBChannel::stop() {
  if (channel_) channel_->stop();
}

}  // namespace tandemview
