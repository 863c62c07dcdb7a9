#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "protocol/ProgramInfo.h"
#include "runtime/NotificationCenter.h"
#include "runtime/Queue.h"
#include "runtime/Timer.h"
#include "usb/PTUSBChannel.h"
#include "usb/PropertyList.h"

namespace tandemview {

/// Posted by the hub as the object, with the daemon's whole message (a PropertyList) as the user info.
inline constexpr const char* ptUSBDeviceDidAttachNotification = "PTUSBDeviceDidAttachNotification";
inline constexpr const char* ptUSBDeviceDidDetachNotification = "PTUSBDeviceDidDetachNotification";

/// The device that the message is about; absent if it names none.
std::optional<std::int64_t> deviceIDOf(const PropertyList& userInfo);

/// The program's view of the USB multiplexing daemon: announces devices and connects to their ports. Everything runs
/// on its queue, the main queue.
class PTUSBHub : public std::enable_shared_from_this<PTUSBHub> {
 public:
  struct Settings {
    std::string socketPath;
    ProgramInfo program;
    std::shared_ptr<Queue> queue;
    std::shared_ptr<NotificationCenter> notificationCenter;
  };

  using Callback = std::function<void(std::optional<Error>)>;
  using ConnectCallback = std::function<void(std::optional<Error>, std::shared_ptr<Stream>)>;

  /// A hub that listens from now on. Whenever the daemon goes away, its devices count as detached, and the hub tries
  /// every 2 seconds to listen again.
  static std::shared_ptr<PTUSBHub> listeningHub(Settings settings);

  /// Opens a channel, unless one is open, and listens for devices. `onStart` gets the answer; `onEnd` tells once that
  /// the daemon has gone.
  void listenOnQueue(const std::shared_ptr<Queue>& queue, Callback onStart, Callback onEnd);

  /// Asks for a stream to `port` of the device. `onStart` gets the stream or the error; a daemon that doesn't answer
  /// within 10 seconds counts as an error. `onEnd` is called once when the stream is torn down. The channel that asks
  /// lives until the answer; stopping it gives the connect up, and `onStart` gets ECANCELED.
  std::weak_ptr<PTUSBChannel> connectToDevice(std::int64_t deviceID, std::uint16_t port, ConnectCallback onStart,
                                              Callback onEnd);

  void handleBroadcastPacket(const PropertyList& packet);

 private:
  explicit PTUSBHub(Settings settings);

  void startListening();
  void listeningEnded(const std::optional<Error>& error);
  void forgetDevices();

  const Settings settings_;
  std::shared_ptr<PTUSBChannel> channel_;  // the listening one
  std::shared_ptr<Timer> retryTimer_;      // present while the daemon is away
  std::set<std::int64_t> attachedDevices_;
};

}  // namespace tandemview
