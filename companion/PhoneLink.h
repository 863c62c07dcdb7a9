#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "companion/Fault.h"
#include "runtime/Data.h"
#include "runtime/MediaClock.h"
#include "runtime/Queue.h"
#include "runtime/Stream.h"

namespace tandemview {

/// One connection of the phone's to a host: cuts the stream into messages. Lives on one queue.
class PhoneLink : public std::enable_shared_from_this<PhoneLink> {
 public:
  /// What it tells its owner until it is stopped. The handlers hold their owner weakly.
  struct Output {
    std::function<void(std::uint32_t type, const Data& payload)> didReceive;  // in one piece
    std::function<void(const Fault& fault)> didSeeFault;
    std::function<void(const std::string& reason)> didEnd;  // the last report
  };

  PhoneLink(std::shared_ptr<Stream> stream, std::shared_ptr<Queue> queue, const MediaClock& clock);
  virtual ~PhoneLink() = default;
  PhoneLink(const PhoneLink&) = delete;
  PhoneLink& operator=(const PhoneLink&) = delete;

  void start(Output output);
  void stop();

  /// Reads nothing more until then.
  void stallUntil(double time) { stalledUntil_ = time; }

  virtual void send(std::uint32_t type, const Data& payload) = 0;
  /// Sends the head of a message of so many bytes, and nothing of these.
  virtual void announce(std::uint32_t length) = 0;

 protected:
  virtual void readNext() = 0;

  /// Where the stream stands before a read. Only between messages may the host close it.
  enum class Position { betweenMessages, withinMessage };

  Stream& stream() { return *stream_; }

  /// Reads so many bytes and goes on with them, unless the link has been stopped by then; it ends if they don't come.
  void read(std::size_t length, Position position, std::function<void(const Data&)> next);
  /// Runs `work` at once or after the stall, unless the link has been stopped by then.
  void whenNotStalled(Work work);
  /// Hands on a message, then reads the next one.
  void receive(std::uint32_t type, const Data& payload);
  void fault(const char* kind, const std::string& text);
  void end(const std::string& reason);

 private:
  const std::shared_ptr<Stream> stream_;
  const std::shared_ptr<Queue> queue_;
  const MediaClock& clock_;
  Output output_;
  bool isStopped_ = false;
  double stalledUntil_ = 0;
};

}  // namespace tandemview
