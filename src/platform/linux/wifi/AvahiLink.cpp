#include "platform/linux/wifi/AvahiLink.h"

#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "platform/linux/wifi/AvahiServiceSearch.h"

namespace tandemview {

namespace {

/// What the system takes over before it can send it, in bytes. By itself it takes megabytes, seconds of video on a slow
/// link, and the frames are late before anybody learns that the link is congested.
constexpr int mostUnsent = 128 * 1024;

}  // namespace

AvahiLink::AvahiLink(std::shared_ptr<AvahiDaemon> daemon, std::shared_ptr<const AvahiEndpoint> endpoint)
    : daemon_(std::move(daemon)), endpoint_(std::move(endpoint)) {}

void AvahiLink::start(WiFiConnectionOutput output) {
  if (state_ != State::Idle) return;
  state_ = State::Connecting;
  output_ = std::move(output);
  race_ = ConnectionRace::start(daemon_->queue(), [weak = weak_from_this()](Result<Descriptor> socket) {
    if (const auto link = weak.lock()) link->connected(std::move(socket));
  });
  const std::weak_ptr<ConnectionRace> weakRace = race_;
  const auto didFindAddress = [weakRace](const SocketAddress& address) {
    if (const auto race = weakRace.lock()) race->add(address);
  };
  const auto didEnd = [weakRace] {
    if (const auto race = weakRace.lock()) race->endAddresses();
  };
  if (!endpoint_) return didEnd();
  lookup_ = AvahiAddressLookup::start(daemon_, *endpoint_, {.didFindAddress = didFindAddress, .didEnd = didEnd});
}

void AvahiLink::receive(std::size_t length, WiFiConnection::ReceiveCompletion completion) {
  if (state_ == State::Ended) return completion({.error = posixError(ECANCELED)});
  if (state_ != State::Ready) {
    deferred_.push_back([this, length, completion = std::move(completion)] { receive(length, completion); });
    return;
  }
  stream_->read(length, [weak = weak_from_this(), length, completion = std::move(completion)](
                            const std::optional<Error>& error, Data bytes) {
    const bool streamEnded = !error && bytes.size() < length;
    completion({.bytes = std::move(bytes), .streamEnded = streamEnded, .error = error});
    const auto link = weak.lock();
    if (error && link) link->fail(*error);
  });
}

void AvahiLink::send(Data data, WiFiConnection::SendCompletion completion) {
  if (state_ == State::Ended) return completion(posixError(ECANCELED));
  if (state_ != State::Ready) {
    deferred_.push_back([this, data = std::move(data), completion = std::move(completion)] { send(data, completion); });
    return;
  }
  stream_->write(std::move(data),
                 [weak = weak_from_this(), completion = std::move(completion)](const std::optional<Error>& error) {
                   completion(error);
                   const auto link = weak.lock();
                   if (error && link) link->fail(*error);
                 });
}

void AvahiLink::cancel() {
  if (state_ == State::Ended) return;
  end();
  // Behind the completions of what was pending.
  daemon_->queue()->async([didCancel = std::move(output_.didCancel)] {
    if (didCancel) didCancel();
  });
}

void AvahiLink::abandon() {
  if (state_ != State::Ended) end();
}

void AvahiLink::connected(Result<Descriptor> socket) {
  if (!socket) {
    if (const auto search = endpoint_ ? endpoint_->search.lock() : nullptr) search->reportAgain();
    return fail(socket.error());
  }
  lookup_ = nullptr;
  race_ = nullptr;
  ::setsockopt(socket->get(), IPPROTO_TCP, TCP_NOTSENT_LOWAT, &mostUnsent, sizeof(mostUnsent));
  auto stream = Stream::adopting(std::move(*socket), daemon_->queue(), nullptr);
  if (!stream) return fail(stream.error());
  stream_ = std::move(*stream);
  state_ = State::Ready;
  runDeferred();
  output_.didBecomeReady();
}

void AvahiLink::fail(const Error& error) {
  if (state_ == State::Ended) return;
  end();
  output_.didFail(error);
}

void AvahiLink::end() {
  state_ = State::Ended;
  lookup_ = nullptr;
  race_ = nullptr;
  if (const auto stream = std::exchange(stream_, nullptr)) stream->stop();
  runDeferred();
}

void AvahiLink::runDeferred() {
  for (const Work& work : std::exchange(deferred_, {})) work();
}

}  // namespace tandemview
