#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/wifi/AvahiDaemon.h"
#include "platform/linux/wifi/AvahiEndpoint.h"
#include "platform/linux/wifi/SocketAddress.h"

namespace tandemview {

/// Asks for the addresses of a service: of both families, at each place where it has been seen. Lives on the daemon's
/// queue; letting go of it ends it.
class AvahiAddressLookup final : public AvahiDaemonUser, public std::enable_shared_from_this<AvahiAddressLookup> {
 public:
  struct Output {
    std::function<void(const SocketAddress&)> didFindAddress;  // each once at each interface
    std::function<void()> didEnd;                              // every question is answered, or nobody is there to ask
  };

  static std::shared_ptr<AvahiAddressLookup> start(std::shared_ptr<AvahiDaemon> daemon, const AvahiEndpoint& endpoint,
                                                   Output output);

 private:
  AvahiAddressLookup(std::shared_ptr<AvahiDaemon> daemon, Output output);

  void ask(const AvahiEndpoint& endpoint);
  void askAt(const AvahiLocation& location, std::int32_t family, const AvahiServiceName& service);
  void daemonDidStart() override {}
  void daemonDidStop() override;
  void found(sdbus::Message& arguments);
  void answered(std::size_t resolver);
  void end();

  const std::shared_ptr<AvahiDaemon> daemon_;
  Output output_;
  std::vector<std::shared_ptr<AvahiObject>> resolvers_;
  std::set<std::size_t> answered_;                        // they may report again
  std::set<std::pair<std::int32_t, std::string>> known_;  // the addresses found, by interface
};

}  // namespace tandemview
