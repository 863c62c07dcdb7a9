#pragma once

#include <poll.h>
#include <sys/socket.h>

#include <cstring>
#include <nlohmann/json.hpp>

#include "fakes/ManualQueue.h"
#include "runtime/Socket.h"
#include "runtime/Stream.h"
#include "support/TemporaryDirectory.h"
#include "usb/PropertyList.h"

namespace tandemview {

/// A USB daemon under the test's control, byte for byte: it answers nothing by itself.
class StandInDaemon {
 public:
  struct Connection {
    std::shared_ptr<Stream> stream;
    std::string received;
  };

  explicit StandInDaemon(std::shared_ptr<ManualQueue> queue) : queue_(std::move(queue)) { start(); }

  std::string socketPath() const { return directory_.path() + "/usbmuxd"; }

  void start() {
    socket_ = std::move(*listeningUnixSocket(socketPath()));
    watch_ = std::move(*queue_->watch(socket_.get()));
    accept();
  }

  /// Ends like a daemon that is stopped: the socket and all connections go.
  void stop() {
    watch_.reset();
    socket_ = Descriptor();
    for (const auto& connection : connections) connection->stream->stop();
    connections.clear();
  }

  /// A packet of the daemon's protocol with an XML property list.
  static Data packet(std::uint32_t tag, const PropertyList& payload) {
    return packet(1, 8, tag, std::string(xmlPropertyList(payload)->text()));
  }
  static Data packet(std::uint32_t protocol, std::uint32_t type, std::uint32_t tag, const std::string& payload) {
    const std::uint32_t fields[] = {static_cast<std::uint32_t>(16 + payload.size()), protocol, type, tag};
    return Data::copying(std::as_bytes(std::span(fields))).joinedWith(Data::copying(payload)).contiguous();
  }

  void send(std::size_t connection, const Data& bytes) { connections.at(connection)->stream->write(bytes, nullptr); }

  /// Whether both ends of a connection are open.
  bool isOpen(std::size_t connection) const {
    pollfd poll{.fd = connections.at(connection)->stream->descriptor(), .events = 0, .revents = 0};
    return poll.fd >= 0 && ::poll(&poll, 1, 0) == 0;
  }

  /// The request that a connection has sent.
  PropertyList request(std::size_t connection) const {
    const std::string& bytes = connections.at(connection)->received;
    if (bytes.size() < 16) return {};
    return dictionaryWithContentsOfData(Data::copying(std::string_view(bytes).substr(16))).value_or(PropertyList());
  }

  std::vector<std::shared_ptr<Connection>> connections;

 private:
  static constexpr std::uint32_t longestRequest = 4096;

  void accept() {
    watch_->whenReadable([this] {
      Descriptor accepted = acceptedConnection(socket_.get());
      if (accepted && makeNonBlocking(accepted.get())) {
        auto connection = std::make_shared<Connection>();
        connection->stream = *Stream::adopting(std::move(accepted), queue_, nullptr);
        connections.push_back(connection);
        receive(connection);
      }
      accept();
    });
  }

  /// Collects packets: the size field, then the rest. What follows a Connect is none and stays unread.
  static void receive(const std::shared_ptr<Connection>& connection) {
    connection->stream->read(4, [weak = std::weak_ptr(connection)](const std::optional<Error>&, const Data& field) {
      const auto receiver = weak.lock();
      if (!receiver || field.size() < 4) return;
      std::uint32_t size = 0;
      std::memcpy(&size, field.bytes().data(), sizeof(size));
      if (size > longestRequest) return;
      receiver->received += field.text();
      receiver->stream->read(size - 4, [weak](const std::optional<Error>&, const Data& rest) {
        const auto same = weak.lock();
        if (!same || rest.empty()) return;
        same->received += rest.text();
        receive(same);
      });
    });
  }

  TemporaryDirectory directory_;
  std::shared_ptr<ManualQueue> queue_;
  Descriptor socket_;
  std::unique_ptr<DescriptorWatch> watch_;
};

}  // namespace tandemview
