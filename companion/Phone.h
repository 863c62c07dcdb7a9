#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "companion/PhoneLink.h"
#include "protocol/DeviceInfo.h"
#include "runtime/MediaClock.h"
#include "runtime/Queue.h"
#include "runtime/Timer.h"

namespace tandemview {

class Phone;

/// What a phone tells its owner, on its queue.
class PhoneDelegate {
 public:
  virtual ~PhoneDelegate() = default;

  virtual void phoneDidConnect(const Phone& phone) = 0;
  virtual void phoneDidDisconnect(const std::string& reason) = 0;
  /// What the host says about itself; the phone has just answered with its device info.
  virtual void phoneDidMeetHost(const std::string& macInfo) = 0;
  /// The payload of a video frame, in one piece, that was complete at `now`.
  virtual void phoneDidReceiveFrame(const Phone& phone, const Data& payload, double now) = 0;
  virtual void phoneDidReceivePong(double roundTripSeconds) = 0;
  /// The host did something that it must not do.
  virtual void phoneDidSeeFault(const std::string& fault) = 0;
};

/// The phone's end of a link: greets the host, pings it and receives its frames. One link at a time; a new one takes
/// the place of the old. Lives on one queue.
class Phone : public std::enable_shared_from_this<Phone> {
 public:
  /// The clock is the host's too. The delegate outlives the phone.
  Phone(std::shared_ptr<Queue> queue, const MediaClock& clock, MacProtocol::DeviceInfo info, double pingInterval,
        PhoneDelegate& delegate);

  void accept(std::shared_ptr<PhoneLink> link);
  void hangUp(const std::string& reason);
  bool isConnected() const { return link_ != nullptr; }

  const MacProtocol::DeviceInfo& info() const { return info_; }
  /// Tells the host at once, if it is there.
  void setInfo(MacProtocol::DeviceInfo info);

  /// These do nothing while there is no connection.
  void sendInfo();
  void ping();
  void send(std::uint32_t type, const Data& payload);
  void announce(std::uint32_t length);

  /// Reads nothing more for so long.
  void stall(double seconds);

  /// Sends no ping by itself for so long.
  void silence(double seconds);

 private:
  void receive(std::uint32_t type, const Data& payload);
  void receiveMacInfo(const Data& payload);
  void receivePong(const Data& payload, double now);

  std::shared_ptr<Queue> queue_;
  const MediaClock& clock_;
  MacProtocol::DeviceInfo info_;
  const double pingInterval_;
  PhoneDelegate& delegate_;

  std::shared_ptr<PhoneLink> link_;
  bool hasMetHost_ = false;
  std::shared_ptr<Timer> pingTimer_;
  std::deque<Data> unansweredPings_;
  double stalledUntil_ = 0;
  double silentUntil_ = 0;
};

}  // namespace tandemview
