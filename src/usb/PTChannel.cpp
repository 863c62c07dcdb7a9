#include "usb/PTChannel.h"

#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

#include "runtime/Assertion.h"
#include "runtime/Log.h"
#include "runtime/Socket.h"
#include "runtime/Weakly.h"
#include "usb/PTUSBChannel.h"
#include "usb/PTUSBHub.h"

namespace tandemview {

namespace {

constexpr int listenBacklog = 512;

/// How long a listener rests after a failed accept; a process out of descriptors would spin otherwise.
constexpr double acceptRetryDelay = 1.0;

sockaddr_in ipv4Address(std::uint16_t port, std::uint32_t address) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  result.sin_addr.s_addr = htonl(address);
  return result;
}

const sockaddr* generic(const sockaddr_in& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

Error notPermitted() {
  return posixError(EPERM);
}

}  // namespace

std::shared_ptr<PTChannel> PTChannel::channelWithDelegate(std::weak_ptr<PTChannelDelegate> delegate,
                                                          std::shared_ptr<PTProtocol> protocol) {
  std::shared_ptr<PTChannel> channel(new PTChannel(std::move(protocol)));
  channel->setDelegate(std::move(delegate));
  return channel;
}

PTChannel::PTChannel(std::shared_ptr<PTProtocol> protocol) : protocol_(std::move(protocol)) {}

PTChannel::~PTChannel() {
  if (dispatchObj_channel_) dispatchObj_channel_->stop();
}

void PTChannel::setDelegate(std::weak_ptr<PTChannelDelegate> delegate) {
  const auto present = delegate.lock();
  delegateWants_ = present ? present->wants() : PTChannelDelegate::Wants();
  delegate_ = std::move(delegate);
}

void PTChannel::setDispatchChannel(std::shared_ptr<Stream> stream) {
  require(connState_ == kConnStateConnecting || connState_ == kConnStateConnected || connState_ == kConnStateNone,
          "connState_ == kConnStateConnecting || connState_ == kConnStateConnected || connState_ == kConnStateNone");
  dispatchObj_channel_ = std::move(stream);
  if (!dispatchObj_channel_) connState_ = kConnStateNone;
}

void PTChannel::setDispatchSource(std::shared_ptr<WatchedSocket> source) {
  require(connState_ == kConnStateListening || connState_ == kConnStateNone,
          "connState_ == kConnStateListening || connState_ == kConnStateNone");
  dispatchObj_source_ = std::move(source);
  if (!dispatchObj_source_) connState_ = kConnStateNone;
}

void PTChannel::connectToPort(std::uint16_t port, const std::shared_ptr<PTUSBHub>& overUSBHub, std::int64_t deviceID,
                              Callback callback) {
  require(protocol_ != nullptr, "protocol_ != NULL");
  if (connState_ != kConnStateNone) return callback(notPermitted());
  const auto attempt = beginAttempt(std::move(callback));
  attempt->overUSB = overUSBHub->connectToDevice(
      deviceID, port,
      [channel = shared_from_this(), weakAttempt = std::weak_ptr(attempt)](std::optional<Error> error,
                                                                           std::shared_ptr<Stream> stream) {
        if (error) return channel->endAttempt(weakAttempt, tl::unexpected(std::move(*error)));
        channel->endAttempt(weakAttempt, std::move(stream));
      },
      weakly(this, [](PTChannel& channel, const std::optional<Error>& error) {
        if (error) channel.endError_ = error;
        channel.streamDidEnd();
      }));
}

void PTChannel::connectToPort(std::uint16_t port, std::uint32_t IPv4Address, Callback callback) {
  require(protocol_ != nullptr, "protocol_ != NULL");
  if (connState_ != kConnStateNone) return callback(notPermitted());
  Descriptor socket = newSocket(AF_INET, SOCK_STREAM);
  if (!socket || !makeNonBlocking(socket.get())) return callback(posixError(errno));
  const sockaddr_in address = ipv4Address(port, IPv4Address);
  if (::connect(socket.get(), generic(address), sizeof(address)) != 0 && errno != EINPROGRESS) {
    return callback(posixError(errno));
  }
  auto watch = protocol_->queue()->watch(socket.get());
  if (!watch) return callback(watch.error());

  const auto attempt = beginAttempt(std::move(callback));
  attempt->overIPv4 = {std::move(socket), std::move(*watch)};
  // The connection stands, or has failed, when the socket becomes writable.
  attempt->overIPv4.watch->whenWritable(
      [channel = shared_from_this(), weakAttempt = std::weak_ptr(attempt), peer = PTAddress(generic(address))] {
        const auto current = weakAttempt.lock();
        if (!current) return;
        const auto stream = channel->finishIPv4Connect(std::move(current->overIPv4));
        if (stream) channel->peerAddress_ = peer;
        channel->endAttempt(current, stream);
      });
}

Result<std::shared_ptr<Stream>> PTChannel::finishIPv4Connect(WatchedSocket connecting) {
  connecting.watch = nullptr;  // the stream has its own
  int code = 0;
  socklen_t length = sizeof(code);
  if (::getsockopt(connecting.socket.get(), SOL_SOCKET, SO_ERROR, &code, &length) != 0) code = errno;
  if (code != 0) return tl::unexpected(posixError(code));
  auto stream =
      Stream::adopting(std::move(connecting.socket), protocol_->queue(), weakly(this, &PTChannel::streamDidEnd));
  if (!stream) return tl::unexpected(Error{ptErrorDomain, 0, ""});
  return stream;
}

std::shared_ptr<PTChannel::Attempt> PTChannel::beginAttempt(Callback callback) {
  connState_ = kConnStateConnecting;
  attempt_ = std::make_shared<Attempt>();
  attempt_->callback = std::move(callback);
  return attempt_;
}

void PTChannel::endAttempt(const std::weak_ptr<Attempt>& attempt, const Result<std::shared_ptr<Stream>>& stream) {
  const auto ended = attempt.lock();
  if (!ended || ended != attempt_) {  // given up, and its callback called
    if (stream) (*stream)->stop();
    return;
  }
  attempt_ = nullptr;
  if (stream) return ended->callback(startReadingFromConnectedChannel(*stream));
  connState_ = kConnStateNone;
  ended->callback(stream.error());
}

void PTChannel::giveUpAttempt() {
  const auto attempt = std::exchange(attempt_, nullptr);
  connState_ = kConnStateNone;
  protocol_->queue()->async([callback = std::move(attempt->callback)] { callback(posixError(ECANCELED)); });
  if (const auto channel = attempt->overUSB.lock()) channel->stop();
}

void PTChannel::listenOnPort(std::uint16_t port, std::uint32_t IPv4Address, Callback callback) {
  require(!dispatchObj_source_, "dispatchObj_source_ == nil");
  if (connState_ != kConnStateNone) return callback(notPermitted());
  Descriptor socket = newSocket(AF_INET, SOCK_STREAM);
  const int on = 1;
  const sockaddr_in address = ipv4Address(port, IPv4Address);
  if (!socket || ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) != 0 ||
      !makeNonBlocking(socket.get()) || ::bind(socket.get(), generic(address), sizeof(address)) != 0 ||
      ::listen(socket.get(), listenBacklog) != 0) {
    return callback(posixError(errno));
  }
  auto watch = protocol_->queue()->watch(socket.get());
  if (!watch) return callback(watch.error());
  setDispatchSource(std::make_shared<WatchedSocket>(WatchedSocket{std::move(socket), std::move(*watch)}));
  connState_ = kConnStateListening;
  acceptPendingConnections(dispatchObj_source_);
  callback(std::nullopt);
}

std::uint16_t PTChannel::listeningPort() const {
  if (!dispatchObj_source_) return 0;
  sockaddr_in address{};
  socklen_t length = sizeof(address);
  const int socket = dispatchObj_source_->socket.get();
  if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) return 0;
  return ntohs(address.sin_port);
}

void PTChannel::acceptPendingConnections(const std::shared_ptr<WatchedSocket>& source) {
  source->watch->whenReadable(weakly(this, [weakSource = std::weak_ptr(source)](PTChannel& channel) {
    const auto listening = weakSource.lock();
    if (!listening) return;
    const bool accepted = channel.acceptIncomingConnection(listening->socket.get());
    // The notice may have ended the listening, and begun another.
    if (listening != channel.dispatchObj_source_) return;
    if (accepted) return channel.acceptPendingConnections(listening);
    channel.protocol_->queue()->after(acceptRetryDelay, weakly(&channel, [weakSource](PTChannel& listener) {
                                        if (const auto rested = weakSource.lock()) {
                                          listener.acceptPendingConnections(rested);
                                        }
                                      }));
  }));
}

bool PTChannel::acceptIncomingConnection(int socket) {
  sockaddr_storage address{};
  Descriptor accepted = acceptedConnection(socket, &address);
  if (!accepted && !isFailureToAccept(errno)) return true;
  if (!accepted) {
    Log::print("accept(): {}", posixError(errno).description);
    return false;
  }
  if (!makeNonBlocking(accepted.get())) {
    Log::print("fcntl(.. O_NONBLOCK): {}", posixError(errno).description);
    return false;
  }
  const auto delegate = delegate_.lock();
  if (!delegate || !delegateWants_.acceptedConnections) return true;

  const auto channel = channelWithDelegate({}, protocol_);
  const auto stream = Stream::adopting(std::move(accepted), protocol_->queue(),
                                       weakly(std::weak_ptr(channel), &PTChannel::streamDidEnd));
  if (!stream) {
    Log::print("accept(): {}", stream.error().description);
    return false;
  }
  channel->connState_ = kConnStateConnected;
  channel->setDispatchChannel(*stream);
  delegate->ioFrameChannel(*this, channel, PTAddress(reinterpret_cast<const sockaddr*>(&address)));
  if (!channel->isConnected()) return true;  // the delegate has closed it
  if (const auto error = channel->startReadingFromConnectedChannel(*stream)) {
    Log::print("startReadingFromConnectedChannel failed in accept: {}", error->wholeDescription());
  }
  return true;
}

std::optional<Error> PTChannel::startReadingFromConnectedChannel(std::shared_ptr<Stream> stream) {
  if (connState_ == kConnStateListening) return notPermitted();
  if (stream != dispatchObj_channel_) {
    close();
    setDispatchChannel(stream);
  }
  connState_ = kConnStateConnected;
  PTProtocol::readFramesOverChannel(
      stream, weakly(this, [weakStream = std::weak_ptr(stream)](
                               PTChannel& channel, std::optional<Error> error, std::uint32_t type, std::uint32_t tag,
                               std::uint32_t payloadSize, const PTProtocol::ResumeBlock& resume) {
        const auto source = weakStream.lock();
        if (source) channel.handleFrame(source, std::move(error), type, tag, payloadSize, resume);
      }));
  return std::nullopt;
}

void PTChannel::handleFrame(const std::shared_ptr<Stream>& stream, std::optional<Error> error, std::uint32_t type,
                            std::uint32_t tag, std::uint32_t payloadSize, const PTProtocol::ResumeBlock& resume) {
  if (endsWith(stream, error, type == PTProtocol::endOfStreamType)) return;

  const auto delegate = delegate_.lock();
  const bool isUnwanted =
      stream != dispatchObj_channel_ || payloadSize > longestPayload ||
      (delegate && delegateWants_.acceptTest && !delegate->ioFrameChannel(*this, type, tag, payloadSize));
  if (isUnwanted) {
    PTProtocol::readAndDiscardDataOfSize(payloadSize, stream, [resume](const std::optional<Error>&, bool) {
      resume();  // what ended the stream shows in the next header
    });
    return;
  }
  if (payloadSize == 0) {
    if (delegate) delegate->ioFrameChannel(*this, type, tag, std::optional<Data>());
    return resume();
  }
  PTProtocol::readPayloadOfSize(
      payloadSize, *stream,
      weakly(this, [weakStream = std::weak_ptr(stream), type, tag, payloadSize, resume](
                       PTChannel& channel, const std::optional<Error>& payloadError, std::optional<Data> payload) {
        const auto source = weakStream.lock();
        if (!source) return;
        if (channel.endsWith(source, payloadError, !payload || payload->size() < payloadSize)) return;
        if (const auto receiver = channel.delegate_.lock()) {
          receiver->ioFrameChannel(channel, type, tag, std::move(payload));
        }
        resume();
      }));
}

/// The end test: true when the stream has failed or ended, which then ends the channel if the stream is still its.
bool PTChannel::endsWith(const std::shared_ptr<Stream>& stream, const std::optional<Error>& error,
                         bool streamHasEnded) {
  if (!error && !streamHasEnded) return false;
  if (stream != dispatchObj_channel_) return true;
  if (error) {
    endError_ = error;
    close();
  } else {
    cancel();
  }
  return true;
}

void PTChannel::sendFrameOfType(std::uint32_t type, std::uint32_t tag, std::optional<Data> withPayload,
                                Callback callback) {
  if (!dispatchObj_channel_ || !isConnected()) {
    if (callback) callback(notPermitted());
    return;
  }
  PTProtocol::sendFrameOfType(type, tag, withPayload, *dispatchObj_channel_, std::move(callback));
}

void PTChannel::close() {
  end(&Stream::stop);
}

void PTChannel::cancel() {
  end(&Stream::close);
}

void PTChannel::end(void (Stream::*endStream)()) {
  if (isListening()) return closeListening();
  if (attempt_) return giveUpAttempt();
  if (!dispatchObj_channel_) return;
  (dispatchObj_channel_.get()->*endStream)();
  setDispatchChannel(nullptr);
}

void PTChannel::closeListening() {
  *dispatchObj_source_ = {};  // at once, even if an accept under way still holds it: the port may be taken again
  setDispatchSource(nullptr);
  protocol_->queue()->async(weakly(this, &PTChannel::streamDidEnd));
}

void PTChannel::streamDidEnd() {
  const auto error = std::exchange(endError_, std::nullopt);
  const auto delegate = delegate_.lock();
  if (delegate && delegateWants_.endNotice) delegate->ioFrameChannel(*this, error);
}

std::string PTChannel::description() const {
  static constexpr std::array stateNames = {"closed", "connecting", "connected", "listening"};
  std::string info;
  if (const auto* text = std::any_cast<std::string>(&userInfo_)) info = " " + *text;
  return fmt::format("<PTChannel: {} ({}){}>", static_cast<const void*>(this), stateNames[connState_], info);
}

}  // namespace tandemview
