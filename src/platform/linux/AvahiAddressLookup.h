#pragma once

#include <avahi-client/lookup.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <vector>

#include "platform/linux/AvahiDaemon.h"
#include "platform/linux/AvahiEndpoint.h"
#include "platform/linux/SocketAddress.h"

namespace tandemview {

/// Asks for the addresses of a service: of both families, at each place where it has been seen. Lives on the daemon's
/// queue; letting go of it ends it.
class AvahiAddressLookup final : public AvahiDaemonUser, public std::enable_shared_from_this<AvahiAddressLookup> {
 public:
  struct Output {
    std::function<void(const SocketAddress&)> didFindAddress;  // each once
    std::function<void()> didEnd;                              // every question is answered, or nobody is there to ask
  };

  static std::shared_ptr<AvahiAddressLookup> start(std::shared_ptr<AvahiDaemon> daemon, const AvahiEndpoint& endpoint,
                                                   Output output);

 private:
  using Resolver = std::unique_ptr<AvahiServiceResolver, int (*)(AvahiServiceResolver*)>;

  AvahiAddressLookup(std::shared_ptr<AvahiDaemon> daemon, Output output);

  void ask(const AvahiEndpoint& endpoint);
  void daemonDidStart(AvahiClient&) override {}
  void daemonDidStop() override;
  static void resolverReported(AvahiServiceResolver* resolver, AvahiIfIndex interface, AvahiProtocol protocol,
                               AvahiResolverEvent event, const char* name, const char* type, const char* domain,
                               const char* host, const AvahiAddress* address, std::uint16_t port, AvahiStringList* text,
                               AvahiLookupResultFlags flags, void* lookup);
  void found(const AvahiAddress& address, std::uint16_t port, AvahiIfIndex interface);
  void end();

  const std::shared_ptr<AvahiDaemon> daemon_;
  Output output_;
  std::vector<Resolver> resolvers_;
  std::set<const AvahiServiceResolver*> answered_;  // they may report again
  std::vector<std::vector<unsigned char>> known_;   // the addresses found
};

}  // namespace tandemview
