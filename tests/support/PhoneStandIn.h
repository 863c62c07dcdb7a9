#pragma once

#include "companion/MuxDaemon.h"
#include "fakes/ManualQueue.h"
#include "runtime/NotificationCenter.h"
#include "support/TemporaryDirectory.h"
#include "usb/PTChannel.h"
#include "usb/PTUSBHub.h"

namespace tandemview {

/// A phone on the cable, for the tests of everything above the daemon's protocol: the companion's daemon, and a
/// framed channel behind it that records what the program sends.
class PhoneStandIn final : public PTChannelDelegate, public std::enable_shared_from_this<PhoneStandIn> {
 public:
  struct Frame {
    std::uint32_t type;
    Data payload;
  };

  static std::shared_ptr<PhoneStandIn> on(
      std::shared_ptr<ManualQueue> queue,
      std::shared_ptr<NotificationCenter> center = std::make_shared<NotificationCenter>()) {
    auto phone = std::make_shared<PhoneStandIn>();
    phone->queue_ = std::move(queue);
    phone->center = std::move(center);
    phone->daemon = *MuxDaemon::listeningAt(
        phone->directory_.path() + "/usbmuxd", phone->queue_,
        [weak = std::weak_ptr(phone)](std::int64_t, std::uint16_t) { return weak.lock()->connectResult; },
        [weak = std::weak_ptr(phone)](std::int64_t deviceID, const std::shared_ptr<Stream>& stream) {
          weak.lock()->accept(deviceID, stream);
        });
    phone->hub = PTUSBHub::listeningHub({.socketPath = phone->directory_.path() + "/usbmuxd",
                                         .program = {.name = "Tandemview"},
                                         .queue = phone->queue_,
                                         .notificationCenter = phone->center});
    return phone;
  }

  void send(std::uint32_t type, const std::string& payload) const {
    channel->sendFrameOfType(type, 0, Data::copying(payload), nullptr);
  }

  /// The types of the frames received so far.
  std::vector<std::uint32_t> types() const {
    std::vector<std::uint32_t> result;
    for (const Frame& frame : frames) result.push_back(frame.type);
    return result;
  }

  std::shared_ptr<NotificationCenter> center;
  std::shared_ptr<MuxDaemon> daemon;
  std::shared_ptr<PTUSBHub> hub;
  std::shared_ptr<PTChannel> channel;
  std::uint32_t connectResult = 0;
  std::vector<std::int64_t> connectedTo;
  std::vector<Frame> frames;

 private:
  void ioFrameChannel(PTChannel&, std::uint32_t type, std::uint32_t, std::optional<Data> payload) override {
    frames.push_back({type, payload.value_or(Data())});
  }
  using PTChannelDelegate::ioFrameChannel;

  void accept(std::int64_t deviceID, const std::shared_ptr<Stream>& stream) {
    connectedTo.push_back(deviceID);
    channel = PTChannel::channelWithDelegate(shared_from_this(), PTProtocol::sharedProtocolForQueue(queue_));
    channel->startReadingFromConnectedChannel(stream);
  }

  TemporaryDirectory directory_;
  std::shared_ptr<ManualQueue> queue_;
};

}  // namespace tandemview
