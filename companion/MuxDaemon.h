#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "companion/Listener.h"
#include "runtime/Stream.h"
#include "usb/PropertyList.h"

namespace tandemview {

/// Results of the daemon's requests, as its protocol numbers them.
namespace MuxResult {
inline constexpr std::uint32_t success = 0;
inline constexpr std::uint32_t badCommand = 1;
inline constexpr std::uint32_t badDevice = 2;
inline constexpr std::uint32_t connectionRefused = 3;
inline constexpr std::uint32_t badVersion = 6;
}  // namespace MuxResult

/// Plays the multiplexing daemon of the cable on a Unix socket: tells its clients of attached devices and connects
/// them to these. Its manners towards malformed requests are those of the real daemon. Runs on one queue, where it
/// is also made, used and destroyed.
class MuxDaemon : public std::enable_shared_from_this<MuxDaemon> {
 public:
  /// The result of a Connect to `port` of an attached device.
  using ConnectTest = std::function<std::uint32_t(std::int64_t deviceID, std::uint16_t port)>;
  /// A client is connected; from now on the stream carries the bytes of the device's port alone.
  using ConnectHandler = std::function<void(std::int64_t deviceID, std::shared_ptr<Stream> stream)>;

  /// Replaces a socket left at `path` by an ended process, and nothing else.
  static Result<std::shared_ptr<MuxDaemon>> listeningAt(const std::string& path, std::shared_ptr<Queue> queue,
                                                        ConnectTest connectTest, ConnectHandler connectHandler);
  /// Removes the socket, if it is still its own, and hangs up on all clients but the connected ones.
  ~MuxDaemon();
  MuxDaemon(const MuxDaemon&) = delete;
  MuxDaemon& operator=(const MuxDaemon&) = delete;

  /// False if the device is attached already, or not attached. Detaching stops the streams of its connections.
  bool attach(std::int64_t deviceID);
  bool detach(std::int64_t deviceID);

 private:
  struct Client;
  struct Header;

  /// What tells one file from another.
  struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t number = 0;
    bool operator==(const FileIdentity&) const = default;
  };
  static FileIdentity identityOf(const std::string& path);

  MuxDaemon(std::string path, std::shared_ptr<Queue> queue, ConnectTest connectTest, ConnectHandler connectHandler);

  void accept(Descriptor connection);
  void readRequest(const std::shared_ptr<Client>& client);
  void handlePacket(const std::shared_ptr<Client>& client, const Header& header, const Data& payload);
  void handleRequest(const std::shared_ptr<Client>& client, std::uint32_t tag, const PropertyList& request);
  void listen(const std::shared_ptr<Client>& client, std::uint32_t tag);
  void connect(const std::shared_ptr<Client>& client, std::uint32_t tag, const PropertyList& request);
  void reply(const std::shared_ptr<Client>& client, std::uint32_t tag, std::uint32_t result);
  void drop(const std::shared_ptr<Client>& client);
  void broadcast(const PropertyList& message);

  const std::string path_;
  const FileIdentity socketFile_;
  std::shared_ptr<Queue> queue_;
  ConnectTest connectTest_;
  ConnectHandler connectHandler_;
  std::shared_ptr<Listener> listener_;
  std::set<std::shared_ptr<Client>> clients_;
  std::set<std::int64_t> attachedDevices_;
  std::vector<std::pair<std::int64_t, std::weak_ptr<Stream>>> connections_;  // handed over, each with its device
};

}  // namespace tandemview
