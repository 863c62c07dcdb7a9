#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "runtime/Data.h"
#include "runtime/Error.h"
#include "runtime/Queue.h"
#include "runtime/Stream.h"
#include "usb/PTAddress.h"
#include "usb/PTChannelDelegate.h"
#include "usb/PTProtocol.h"

namespace tandemview {

class PTUSBChannel;
class PTUSBHub;

inline constexpr const char* ptErrorDomain = "PTError";

/// A frame with a longer payload is read and thrown away, as if refused: no message comes near it, and what a peer
/// can make us keep stays bounded.
inline constexpr std::uint32_t longestPayload = 64 * 1024 * 1024;

enum PTChannelState : std::uint8_t {
  kConnStateNone = 0,        // no stream and no listening socket
  kConnStateConnecting = 1,  // a connect is under way
  kConnStateConnected = 2,   // a stream is open and frames are being read
  kConnStateListening = 3,   // a listening socket is open
};

/// One framed connection, or one listening socket. All operations, deliveries and notices run on the protocol's
/// queue.
class PTChannel : public std::enable_shared_from_this<PTChannel> {
 public:
  using Callback = std::function<void(std::optional<Error>)>;

  static std::shared_ptr<PTChannel> channelWithDelegate(std::weak_ptr<PTChannelDelegate> delegate,
                                                        std::shared_ptr<PTProtocol> protocol);
  PTChannel(const PTChannel&) = delete;
  PTChannel& operator=(const PTChannel&) = delete;
  ~PTChannel();

  /// Held weakly. Which of the optional notices it wants is read once, here.
  void setDelegate(std::weak_ptr<PTChannelDelegate> delegate);

  /// A channel that is still connecting counts as connected.
  bool isConnected() const { return connState_ == kConnStateConnecting || connState_ == kConnStateConnected; }
  bool isListening() const { return connState_ == kConnStateListening; }

  void connectToPort(std::uint16_t port, const std::shared_ptr<PTUSBHub>& overUSBHub, std::int64_t deviceID,
                     Callback callback);

  /// `IPv4Address` in host order. A POSIX error if the channel is in use or the connection fails.
  void connectToPort(std::uint16_t port, std::uint32_t IPv4Address, Callback callback);

  /// Port 0 takes a free one; see listeningPort(). May be called within a notice, also right after close().
  void listenOnPort(std::uint16_t port, std::uint32_t IPv4Address, Callback callback);
  std::uint16_t listeningPort() const;

  /// Accepts one connection of a listening socket. False, with a line printed, if that fails; a peer that has given up
  /// meanwhile is no failure.
  bool acceptIncomingConnection(int socket);

  /// The callback, if any, gets the write's result; POSIX error 1 if the channel is neither connecting nor connected.
  void sendFrameOfType(std::uint32_t type, std::uint32_t tag, std::optional<Data> withPayload, Callback callback);

  /// Adopts a stream and starts to read frames from it. An error if the channel listens.
  std::optional<Error> startReadingFromConnectedChannel(std::shared_ptr<Stream> stream);

  /// Ends the connection or the listening, at once; the end notice follows. A connect under way is given up: its
  /// callback gets ECANCELED.
  void close();
  /// The same, but lets pending operations finish.
  void cancel();

  std::string description() const;

  const std::any& userInfo() const { return userInfo_; }
  void setUserInfo(std::any userInfo) { userInfo_ = std::move(userInfo); }
  const std::shared_ptr<PTProtocol>& protocol() const { return protocol_; }
  void setProtocol(std::shared_ptr<PTProtocol> protocol) { protocol_ = std::move(protocol); }
  const std::optional<PTAddress>& peerAddress() const { return peerAddress_; }

  /// Tells the delegate that the connection has ended: for the clean-up of a stream that the channel was given.
  void streamDidEnd();

 private:
  explicit PTChannel(std::shared_ptr<PTProtocol> protocol);

  /// A socket of the channel's own, and what the queue tells of it.
  struct WatchedSocket {
    Descriptor socket;
    std::unique_ptr<DescriptorWatch> watch;
  };

  /// A connect under way, in one of its two forms. It is over when the channel has let go of it.
  struct Attempt {
    Callback callback;
    std::weak_ptr<PTUSBChannel> overUSB;
    WatchedSocket overIPv4;
  };

  void setDispatchChannel(std::shared_ptr<Stream> stream);
  void setDispatchSource(std::shared_ptr<WatchedSocket> source);
  std::shared_ptr<Attempt> beginAttempt(Callback callback);
  void endAttempt(const std::weak_ptr<Attempt>& attempt, const Result<std::shared_ptr<Stream>>& stream);
  void giveUpAttempt();
  Result<std::shared_ptr<Stream>> finishIPv4Connect(WatchedSocket connecting);
  void acceptPendingConnections(const std::shared_ptr<WatchedSocket>& source);
  void end(void (Stream::*endStream)());
  void handleFrame(const std::shared_ptr<Stream>& stream, std::optional<Error> error, std::uint32_t type,
                   std::uint32_t tag, std::uint32_t payloadSize, const PTProtocol::ResumeBlock& resume);
  bool endsWith(const std::shared_ptr<Stream>& stream, const std::optional<Error>& error, bool streamHasEnded);
  void closeListening();

  std::shared_ptr<PTProtocol> protocol_;
  std::weak_ptr<PTChannelDelegate> delegate_;
  PTChannelDelegate::Wants delegateWants_;
  PTChannelState connState_ = kConnStateNone;
  std::shared_ptr<Stream> dispatchObj_channel_;
  std::shared_ptr<WatchedSocket> dispatchObj_source_;  // the listening one
  std::shared_ptr<Attempt> attempt_;
  std::optional<Error> endError_;  // of what has ended, until the end notice
  std::optional<PTAddress> peerAddress_;
  std::any userInfo_;
};

}  // namespace tandemview
