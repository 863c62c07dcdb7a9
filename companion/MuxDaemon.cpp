#include "companion/MuxDaemon.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <array>
#include <bit>
#include <cstring>

#include "runtime/Socket.h"

namespace tandemview {

namespace {

/// The real daemon hangs up on requests of this size.
constexpr std::uint32_t tooLong = 1024 * 1024;

/// More clients than a machine has; what they can make us keep stays bounded.
constexpr std::size_t mostClients = 64;

constexpr std::uint32_t binaryProtocol = 0;
constexpr std::uint32_t propertyListProtocol = 1;
constexpr std::uint32_t binaryResultType = 1;
constexpr std::uint32_t propertyListType = 8;

std::int64_t integer(const PropertyList& dictionary, const char* key, std::int64_t otherwise) {
  const auto found = dictionary.find(key);
  return found != dictionary.end() && found->is_number_integer() ? found->get<std::int64_t>() : otherwise;
}

std::uint16_t bytesSwapped(std::uint16_t value) {
  return static_cast<std::uint16_t>(value << 8 | value >> 8);
}

PropertyList attachedMessage(std::int64_t deviceID) {
  return {{"MessageType", "Attached"},
          {"DeviceID", deviceID},
          {"Properties",
           {{"ConnectionSpeed", 480'000'000},
            {"ConnectionType", "USB"},
            {"DeviceID", deviceID},
            {"LocationID", 0x14100000 + deviceID},
            {"ProductID", 0x12A8},
            {"SerialNumber", fmt::format("0000C0DE-{:016X}", deviceID)}}}};
}

}  // namespace

/// In the host's byte order, as on the wire.
struct MuxDaemon::Header {
  std::uint32_t size;  // of the whole packet
  std::uint32_t protocol;
  std::uint32_t type;
  std::uint32_t tag;
};

struct MuxDaemon::Client {
  std::shared_ptr<Stream> stream;
  bool listens = false;
  bool speaksPropertyLists = false;

  void send(std::uint32_t protocol, std::uint32_t type, std::uint32_t tag, const Data& payload,
            Stream::WriteCompletion completion) const {
    const Header header{static_cast<std::uint32_t>(sizeof(Header) + payload.size()), protocol, type, tag};
    stream->write(Data::copying(std::as_bytes(std::span(&header, 1))).joinedWith(payload), std::move(completion));
  }

  void send(std::uint32_t tag, const PropertyList& message, Stream::WriteCompletion completion) const {
    send(propertyListProtocol, propertyListType, tag, xmlPropertyList(message).value_or(Data()), std::move(completion));
  }
};

Result<std::shared_ptr<MuxDaemon>> MuxDaemon::listeningAt(const std::string& path, std::shared_ptr<Queue> queue,
                                                          ConnectTest connectTest, ConnectHandler connectHandler) {
  Result<Descriptor> socket = listeningUnixSocket(path);
  if (!socket) return tl::unexpected(socket.error());
  std::shared_ptr<MuxDaemon> daemon(
      new MuxDaemon(path, std::move(queue), std::move(connectTest), std::move(connectHandler)));
  auto listener =
      Listener::on(std::move(*socket), daemon->queue_, [weak = std::weak_ptr(daemon)](Descriptor connection) {
        if (const auto self = weak.lock()) self->accept(std::move(connection));
      });
  if (!listener) return tl::unexpected(listener.error());
  daemon->listener_ = std::move(*listener);
  return daemon;
}

MuxDaemon::MuxDaemon(std::string path, std::shared_ptr<Queue> queue, ConnectTest connectTest,
                     ConnectHandler connectHandler)
    : path_(std::move(path)),
      socketFile_(identityOf(path_)),
      queue_(std::move(queue)),
      connectTest_(std::move(connectTest)),
      connectHandler_(std::move(connectHandler)) {}

MuxDaemon::~MuxDaemon() {
  if (identityOf(path_) == socketFile_) ::unlink(path_.c_str());
  for (const auto& client : clients_) client->stream->stop();
}

MuxDaemon::FileIdentity MuxDaemon::identityOf(const std::string& path) {
  struct stat file {};
  if (::lstat(path.c_str(), &file) != 0) return {};
  return {static_cast<std::uint64_t>(file.st_dev), static_cast<std::uint64_t>(file.st_ino)};
}

bool MuxDaemon::attach(std::int64_t deviceID) {
  if (!attachedDevices_.insert(deviceID).second) return false;
  broadcast(attachedMessage(deviceID));
  return true;
}

bool MuxDaemon::detach(std::int64_t deviceID) {
  if (attachedDevices_.erase(deviceID) == 0) return false;
  broadcast({{"MessageType", "Detached"}, {"DeviceID", deviceID}});
  for (const auto& [device, connection] : connections_) {
    const auto stream = connection.lock();
    if (device == deviceID && stream) stream->stop();
  }
  return true;
}

void MuxDaemon::accept(Descriptor connection) {
  if (clients_.size() == mostClients) return;
  auto stream = Stream::adopting(std::move(connection), queue_, nullptr);
  if (!stream) return;
  const auto client = std::make_shared<Client>();
  client->stream = std::move(*stream);
  clients_.insert(client);
  readRequest(client);
}

void MuxDaemon::readRequest(const std::shared_ptr<Client>& client) {
  client->stream->read(sizeof(Header), [weak = weak_from_this(), weakClient = std::weak_ptr(client)](
                                           const std::optional<Error>& error, const Data& bytes) {
    const auto self = weak.lock();
    const auto from = weakClient.lock();
    if (!self || !from) return;
    if (error || bytes.size() < sizeof(Header)) return self->drop(from);
    std::array<std::byte, sizeof(Header)> copy;
    std::memcpy(copy.data(), bytes.bytes().data(), copy.size());
    const auto header = std::bit_cast<Header>(copy);
    if (header.size < sizeof(Header) || header.size >= tooLong) return self->drop(from);
    const std::size_t payloadSize = header.size - sizeof(Header);
    if (payloadSize == 0) return self->handlePacket(from, header, {});
    from->stream->read(payloadSize, [weak, weakClient, header, payloadSize](const std::optional<Error>& payloadError,
                                                                            const Data& payload) {
      const auto daemon = weak.lock();
      const auto sender = weakClient.lock();
      if (!daemon || !sender) return;
      if (payloadError || payload.size() < payloadSize) return daemon->drop(sender);
      daemon->handlePacket(sender, header, payload);
    });
  });
}

void MuxDaemon::handlePacket(const std::shared_ptr<Client>& client, const Header& header, const Data& payload) {
  if (client->listens) return drop(client);  // a listening client has nothing more to ask
  if (header.protocol != propertyListProtocol) return reply(client, header.tag, MuxResult::badVersion);
  if (header.type != propertyListType) return reply(client, header.tag, MuxResult::badCommand);
  const std::optional<PropertyList> request = dictionaryWithContentsOfData(payload);
  client->speaksPropertyLists = client->speaksPropertyLists || request;
  const auto type = request ? request->find("MessageType") : PropertyList::const_iterator();
  // The real daemon leaves what it cannot understand without an answer.
  if (!request || type == request->end() || !type->is_string()) return readRequest(client);
  handleRequest(client, header.tag, *request);
}

void MuxDaemon::handleRequest(const std::shared_ptr<Client>& client, std::uint32_t tag, const PropertyList& request) {
  const auto& type = request.at("MessageType").get_ref<const std::string&>();
  if (type == "Listen") return listen(client, tag);
  if (type == "Connect") return connect(client, tag, request);
  reply(client, tag, MuxResult::badCommand);
}

void MuxDaemon::listen(const std::shared_ptr<Client>& client, std::uint32_t tag) {
  client->listens = true;
  reply(client, tag, MuxResult::success);
  for (const std::int64_t device : attachedDevices_) client->send(0, attachedMessage(device), nullptr);
}

void MuxDaemon::connect(const std::shared_ptr<Client>& client, std::uint32_t tag, const PropertyList& request) {
  const std::int64_t device = integer(request, "DeviceID", -1);
  // The port travels in network byte order, read as a number of the host.
  const std::uint16_t port = bytesSwapped(static_cast<std::uint16_t>(integer(request, "PortNumber", 0)));
  if (!attachedDevices_.contains(device)) return reply(client, tag, MuxResult::badDevice);
  const std::uint32_t result = connectTest_(device, port);
  if (result != MuxResult::success) return reply(client, tag, result);
  client->send(tag, {{"MessageType", "Result"}, {"Number", result}}, nullptr);
  clients_.erase(client);
  std::erase_if(connections_, [](const auto& each) { return each.second.expired(); });
  connections_.emplace_back(device, client->stream);
  connectHandler_(device, client->stream);
}

/// Answers and then waits for the next request: a client that does not read its answers is not read either.
void MuxDaemon::reply(const std::shared_ptr<Client>& client, std::uint32_t tag, std::uint32_t result) {
  auto completion = [weak = weak_from_this(), weakClient = std::weak_ptr(client)](const std::optional<Error>& error) {
    const auto self = weak.lock();
    const auto to = weakClient.lock();
    if (!self || !to) return;
    error ? self->drop(to) : self->readRequest(to);
  };
  if (client->speaksPropertyLists) {
    return client->send(tag, {{"MessageType", "Result"}, {"Number", result}}, std::move(completion));
  }
  client->send(binaryProtocol, binaryResultType, tag, Data::copying(std::as_bytes(std::span(&result, 1))),
               std::move(completion));
}

void MuxDaemon::drop(const std::shared_ptr<Client>& client) {
  if (clients_.erase(client) > 0) client->stream->stop();
}

void MuxDaemon::broadcast(const PropertyList& message) {
  for (const auto& client : clients_) {
    if (client->listens) client->send(0, message, nullptr);
  }
}

}  // namespace tandemview
