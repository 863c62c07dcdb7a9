#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "protocol/ProgramInfo.h"
#include "runtime/Data.h"
#include "runtime/Error.h"
#include "runtime/Queue.h"
#include "runtime/Stream.h"
#include "usb/PropertyList.h"

namespace tandemview {

inline constexpr const char* ptUSBHubErrorDomain = "PTUSBHubError";

/// One connection to the USB multiplexing daemon, with its packets: a header of four little-endian 32-bit fields
/// (size with header, protocol, type, tag) and a property list. All operations and callbacks run on its queue.
class PTUSBChannel : public std::enable_shared_from_this<PTUSBChannel> {
 public:
  static constexpr std::size_t packetHeaderSize = 16;
  static constexpr std::uint32_t packetProtocolPlist = 1;
  static constexpr std::uint32_t packetTypePlist = 8;
  static constexpr std::uint32_t kUsbmuxPacketMaxPayloadSize = UINT32_MAX - packetHeaderSize;

  using Callback = std::function<void(std::optional<Error>)>;
  using ReplyCallback = std::function<void(std::optional<Error>, const PropertyList& reply)>;
  using BroadcastHandler = std::function<void(const PropertyList& packet)>;
  using PacketCallback = std::function<void(std::optional<Error>, const PropertyList& packet, std::uint32_t tag)>;

  /// A request: `payload`'s entries and the three that every request carries.
  static PropertyList packetDictionaryWithPacketType(const std::string& messageType, PropertyList payload,
                                                     const ProgramInfo& program);

  /// The error that a reply's "Number" stands for; absent for success.
  static std::optional<Error> errorFromPlistResponse(const PropertyList& reply);

  explicit PTUSBChannel(ProgramInfo program);

  /// Connects to the daemon's socket at `path`. `onEnd` is called once when the stream is torn down.
  std::optional<Error> openOnQueue(std::shared_ptr<Queue> queue, const std::string& path, Callback onEnd);

  /// Asks for broadcasts and reads packets from then on until the stream ends. The callback gets the answer.
  void listenWithBroadcastHandler(BroadcastHandler broadcastHandler, Callback callback);

  /// Sends a request; the callback gets its reply, or the error that prevents one.
  void sendRequest(const PropertyList& packet, ReplyCallback callback);

  /// The first tag is 1.
  std::uint32_t nextPacketTag();

  void sendPacket(const PropertyList& packet, std::uint32_t tag, Callback callback);
  void sendPacketOfType(std::uint32_t type, std::uint32_t overProtocol, std::uint32_t tag, const Data& payload,
                        Callback callback);
  void sendDispatchData(Data data, Callback callback);
  void sendData(std::span<const std::byte> data, Callback callback);
  void readLength(std::size_t length, Stream::ReadCompletion callback);

  void scheduleReadPacketWithCallback(PacketCallback callback);
  void scheduleReadPacketWithBroadcastHandler(BroadcastHandler broadcastHandler);
  void setNeedsReadingPacket();

  /// The stream, to be taken over after a successful "Connect".
  const std::shared_ptr<Stream>& dispatchChannel() const { return channel_; }
  int fileDescriptor() const { return channel_->descriptor(); }
  bool valid() const { return channel_ != nullptr; }

  /// Gives up waiting for replies: each request's callback gets the error.
  void failRequests(const Error& error);

  /// Closes the stream, letting pending operations finish.
  void cancel();
  /// Closes the stream at once.
  void stop();

 private:
  void readPacketBody(std::uint32_t size, PacketCallback callback);
  void finishPacket(std::optional<Error> error, const PropertyList& packet, std::uint32_t tag,
                    const PacketCallback& callback);
  void endWithError(const Error& error, const PacketCallback& callback);
  void dispatchPacket(const std::optional<Error>& error, const PropertyList& packet, std::uint32_t tag,
                      const BroadcastHandler& broadcastHandler);

  const ProgramInfo program_;
  std::shared_ptr<Stream> channel_;
  std::uint32_t lastPacketTag_ = 0;
  std::map<std::uint32_t, ReplyCallback> repliesByTag_;
  bool keepsReading_ = false;
  bool isReadingPackets_ = false;
  bool hasEnded_ = false;
};

}  // namespace tandemview
