#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>

#include "platform/linux/wifi/AvahiAddressLookup.h"
#include "platform/linux/wifi/AvahiDaemon.h"
#include "platform/linux/wifi/AvahiEndpoint.h"
#include "platform/linux/wifi/ConnectionRace.h"
#include "runtime/Stream.h"
#include "wifi/WiFiNetwork.h"

namespace tandemview {

/// The work of one connection, on the daemon's queue: looks the service up, connects, carries the bytes.
class AvahiLink final : public std::enable_shared_from_this<AvahiLink> {
 public:
  AvahiLink(std::shared_ptr<AvahiDaemon> daemon, std::shared_ptr<const AvahiEndpoint> endpoint);

  /// Without the output's queue: reports come on the daemon's.
  void start(WiFiConnectionOutput output);
  void receive(std::size_t length, WiFiConnection::ReceiveCompletion completion);
  void send(Data data, WiFiConnection::SendCompletion completion);
  void cancel();

  /// Ends it without a report.
  void abandon();

 private:
  enum class State { Idle, Connecting, Ready, Ended };

  void connected(Result<Descriptor> socket);
  void fail(const Error& error);
  void end();
  void runDeferred();

  const std::shared_ptr<AvahiDaemon> daemon_;
  const std::shared_ptr<const AvahiEndpoint> endpoint_;
  WiFiConnectionOutput output_;
  State state_ = State::Idle;
  std::shared_ptr<ConnectionRace> race_;
  std::shared_ptr<AvahiAddressLookup> lookup_;
  std::shared_ptr<Stream> stream_;
  std::deque<Work> deferred_;  // what was asked for before the link was ready
};

}  // namespace tandemview
