#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "companion/HostClock.h"
#include "companion/PhoneLink.h"
#include "protocol/DeviceInfo.h"
#include "runtime/MediaClock.h"
#include "runtime/Queue.h"
#include "runtime/Timer.h"

namespace tandemview {

class Phone;

enum class Direction { toHost, fromHost };

/// What a phone tells its owner, on its queue.
class PhoneDelegate {
 public:
  virtual ~PhoneDelegate() = default;

  virtual void phoneDidConnect(const Phone& phone) = 0;
  virtual void phoneDidDisconnect(const Phone& phone, const std::string& reason) = 0;
  /// What the host says about itself; the phone has just answered with its device info.
  virtual void phoneDidMeetHost(const Phone& phone, const std::string& macInfo) = 0;
  /// The payload of a video frame, in one piece, that was complete at `now`.
  virtual void phoneDidReceiveFrame(const Phone& phone, const Data& payload, double now) = 0;
  virtual void phoneDidReceivePong(const Phone& phone, double roundTripSeconds) = 0;
  virtual void phoneDidSeeFault(const Phone& phone, const Fault& fault) = 0;
  /// Of every message, before anything is made of it.
  virtual void phoneDidPassMessage(const Phone& phone, Direction direction, std::uint32_t type, std::size_t size) = 0;
};

/// The phone's end of a link: greets the host, pings it and receives its frames. One link at a time; a new one takes
/// the place of the old. A link on which the host owes an answer and sends nothing for 10 seconds ends. Lives on one
/// queue.
class Phone : public std::enable_shared_from_this<Phone> {
 public:
  struct Settings {
    std::string linkName;  // for people
    MacProtocol::DeviceInfo info;
    double pingInterval = 1;
    double pongDeadline = 10;  // seconds; a later answer is a fault
  };

  /// The delegate outlives the phone.
  Phone(std::shared_ptr<Queue> queue, const MediaClock& clock, Settings settings, PhoneDelegate& delegate);

  void accept(std::shared_ptr<PhoneLink> link);
  void hangUp(const std::string& reason);
  bool isConnected() const { return link_ != nullptr; }
  bool hasMetHost() const { return link_ && hasMetHost_; }

  const std::string& linkName() const { return settings_.linkName; }
  const HostClock& hostClock() const { return hostClock_; }
  const MacProtocol::DeviceInfo& info() const { return settings_.info; }
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
  struct Ping {
    enum class State { due, late, forgiven };
    double sent;
    State state;  // forgiven: we have not listened, and the host may have dropped it
  };

  void receive(std::uint32_t type, const Data& payload);
  void receiveMacInfo(const Data& payload);
  void receivePong(const Data& payload, double now);
  void look();
  void forgive();
  bool isSilent(double now) const;
  void fault(const char* kind, const std::string& text) { delegate_.phoneDidSeeFault(*this, {kind, text}); }

  std::shared_ptr<Queue> queue_;
  const MediaClock& clock_;
  Settings settings_;
  PhoneDelegate& delegate_;

  std::shared_ptr<PhoneLink> link_;
  bool hasMetHost_ = false;
  HostClock hostClock_;
  std::shared_ptr<Timer> pingTimer_;
  std::shared_ptr<Timer> lookTimer_;
  double lastLook_ = 0;
  double lastHeard_ = 0;    // or when there was no hearing
  std::deque<Ping> pings_;  // without an answer
  double stalledUntil_ = 0;
  double silentUntil_ = 0;
};

}  // namespace tandemview
