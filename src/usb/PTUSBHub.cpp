#include "usb/PTUSBHub.h"

#include <cerrno>
#include <nlohmann/json.hpp>

#include "runtime/Log.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

constexpr double listenRetryInterval = 2.0;
constexpr double connectTimeout = 10.0;

/// The daemon wants the port as the integer whose two bytes, in the host's order, are the port in network order.
std::uint16_t networkOrder(std::uint16_t port) {
  return static_cast<std::uint16_t>(port << 8 | port >> 8);
}

}  // namespace

std::optional<std::int64_t> deviceIDOf(const PropertyList& userInfo) {
  const auto found = userInfo.find("DeviceID");
  if (found == userInfo.end() || !found->is_number_integer()) return std::nullopt;
  return found->get<std::int64_t>();
}

std::shared_ptr<PTUSBHub> PTUSBHub::listeningHub(Settings settings) {
  std::shared_ptr<PTUSBHub> hub(new PTUSBHub(std::move(settings)));
  hub->startListening();
  return hub;
}

PTUSBHub::PTUSBHub(Settings settings) : settings_(std::move(settings)) {}

void PTUSBHub::startListening() {
  listenOnQueue(settings_.queue,
                weakly(this,
                       [](PTUSBHub& hub, const std::optional<Error>& error) {
                         if (error) return hub.listeningEnded(error);
                         if (!hub.retryTimer_) return;
                         hub.retryTimer_ = nullptr;
                         Log::line("✅ PTUSBHub: The USB daemon is there - listening for devices");
                       }),
                weakly(this, &PTUSBHub::listeningEnded));
}

/// The daemon is away, or refuses to be listened to: one line, then quiet attempts until it is back.
void PTUSBHub::listeningEnded(const std::optional<Error>& error) {
  if (channel_) {
    channel_->stop();
    channel_ = nullptr;
  }
  forgetDevices();
  if (retryTimer_) return;
  if (error) {
    Log::print("PTUSBHub failed to initialize: {}", error->wholeDescription());
  } else {
    Log::line("⚠️ PTUSBHub: The USB daemon went away - trying again every 2 seconds");
  }
  retryTimer_ = Timer::repeating(settings_.queue, listenRetryInterval, weakly(this, [](PTUSBHub& hub) {
                                   if (!hub.channel_) hub.startListening();
                                 }));
}

void PTUSBHub::forgetDevices() {
  const auto devices = std::exchange(attachedDevices_, {});
  for (const std::int64_t device : devices) {
    handleBroadcastPacket({{"MessageType", "Detached"}, {"DeviceID", device}});
  }
}

void PTUSBHub::listenOnQueue(const std::shared_ptr<Queue>& queue, Callback onStart, Callback onEnd) {
  if (channel_) return onStart(std::nullopt);
  const auto channel = std::make_shared<PTUSBChannel>(settings_.program);
  const auto isCurrent = [weak = weak_from_this(), weakChannel = std::weak_ptr(channel)] {
    const auto hub = weak.lock();
    const auto listening = weakChannel.lock();
    return hub && listening && hub->channel_ == listening;
  };
  if (const auto error = channel->openOnQueue(queue, settings_.socketPath, [isCurrent, onEnd](auto endError) {
        if (isCurrent()) onEnd(std::move(endError));
      })) {
    return onStart(error);
  }
  channel_ = channel;
  channel->listenWithBroadcastHandler(weakly(this, &PTUSBHub::handleBroadcastPacket),
                                      [isCurrent, onStart = std::move(onStart)](std::optional<Error> error) {
                                        if (isCurrent()) onStart(std::move(error));
                                      });
}

std::weak_ptr<PTUSBChannel> PTUSBHub::connectToDevice(std::int64_t deviceID, std::uint16_t port,
                                                      ConnectCallback onStart, Callback onEnd) {
  const auto channel = std::make_shared<PTUSBChannel>(settings_.program);
  if (const auto error = channel->openOnQueue(settings_.queue, settings_.socketPath, std::move(onEnd))) {
    onStart(error, nullptr);
    return {};
  }
  // The reply callback keeps the channel alive until it is called, which the time-out sees to.
  channel->sendRequest(PTUSBChannel::packetDictionaryWithPacketType(
                           "Connect", {{"DeviceID", deviceID}, {"PortNumber", networkOrder(port)}}, settings_.program),
                       [channel, onStart = std::move(onStart)](std::optional<Error> error, const PropertyList& reply) {
                         if (!error) error = PTUSBChannel::errorFromPlistResponse(reply);
                         if (!error) return onStart(std::nullopt, channel->dispatchChannel());
                         channel->stop();
                         onStart(std::move(error), nullptr);
                       });
  settings_.queue->after(connectTimeout, weakly(std::weak_ptr(channel), [](PTUSBChannel& waiting) {
                           waiting.failRequests(posixError(ETIMEDOUT));
                         }));
  return channel;
}

void PTUSBHub::handleBroadcastPacket(const PropertyList& packet) {
  const auto type = packet.find("MessageType");
  const bool isAttached = type != packet.end() && *type == "Attached";
  const bool isDetached = type != packet.end() && *type == "Detached";
  if (!isAttached && !isDetached) {
    Log::print("Warning: Unhandled broadcast message: {}",
               packet.dump(-1, ' ', false, PropertyList::error_handler_t::replace));
    return;
  }
  if (const auto device = deviceIDOf(packet)) {
    if (isAttached) attachedDevices_.insert(*device);
    if (isDetached) attachedDevices_.erase(*device);
  }
  const char* name = isAttached ? ptUSBDeviceDidAttachNotification : ptUSBDeviceDidDetachNotification;
  settings_.notificationCenter->post(name, this, packet);
}

}  // namespace tandemview
