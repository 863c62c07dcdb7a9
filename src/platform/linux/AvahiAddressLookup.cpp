#include "platform/linux/AvahiAddressLookup.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tandemview {

namespace {

/// A host with more interfaces than that has found the service on enough of them.
constexpr std::size_t mostResolvers = 32;

sockaddr_in6 ipv6Address(const AvahiAddress& address, std::uint16_t port, AvahiIfIndex interface) {
  sockaddr_in6 result{};
  result.sin6_family = AF_INET6;
  result.sin6_port = htons(port);
  std::memcpy(&result.sin6_addr, address.data.ipv6.address, sizeof(result.sin6_addr));
  if (IN6_IS_ADDR_LINKLOCAL(&result.sin6_addr)) result.sin6_scope_id = static_cast<std::uint32_t>(interface);
  return result;
}

sockaddr_in ipv4Address(const AvahiAddress& address, std::uint16_t port) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  result.sin_addr.s_addr = address.data.ipv4.address;
  return result;
}

template <typename Address>
std::vector<unsigned char> bytesOf(const Address& address) {
  const auto* first = reinterpret_cast<const unsigned char*>(&address);
  return {first, first + sizeof(address)};
}

}  // namespace

std::shared_ptr<AvahiAddressLookup> AvahiAddressLookup::start(std::shared_ptr<AvahiDaemon> daemon,
                                                              const AvahiEndpoint& endpoint, Output output) {
  std::shared_ptr<AvahiAddressLookup> lookup(new AvahiAddressLookup(std::move(daemon), std::move(output)));
  lookup->ask(endpoint);
  return lookup;
}

AvahiAddressLookup::AvahiAddressLookup(std::shared_ptr<AvahiDaemon> daemon, Output output)
    : daemon_(std::move(daemon)), output_(std::move(output)) {}

void AvahiAddressLookup::ask(const AvahiEndpoint& endpoint) {
  daemon_->add(shared_from_this());
  AvahiClient* const client = daemon_->client();
  for (const AvahiLocation& location : endpoint.locations) {
    for (const AvahiProtocol family : {AVAHI_PROTO_INET6, AVAHI_PROTO_INET}) {
      if (!client || resolvers_.size() == mostResolvers) break;
      AvahiServiceResolver* const resolver = avahi_service_resolver_new(
          client, location.interface, location.protocol, endpoint.service.name.c_str(), endpoint.service.type.c_str(),
          endpoint.service.domain.c_str(), family, AvahiLookupFlags{}, resolverReported, this);
      if (resolver) resolvers_.emplace_back(resolver, avahi_service_resolver_free);
    }
  }
  if (!resolvers_.empty()) return;
  daemon_->queue()->async([weak = weak_from_this()] {
    if (const auto lookup = weak.lock()) lookup->end();
  });
}

void AvahiAddressLookup::daemonDidStop() {
  resolvers_.clear();
  end();
}

void AvahiAddressLookup::resolverReported(AvahiServiceResolver* resolver, AvahiIfIndex interface, AvahiProtocol,
                                          AvahiResolverEvent event, const char*, const char*, const char*, const char*,
                                          const AvahiAddress* address, std::uint16_t port, AvahiStringList*,
                                          AvahiLookupResultFlags, void* lookup) {
  const auto self = static_cast<AvahiAddressLookup*>(lookup)->shared_from_this();
  if (event == AVAHI_RESOLVER_FOUND) self->found(*address, port, interface);
  self->answered_.insert(resolver);
  if (self->answered_.size() == self->resolvers_.size()) self->end();
}

void AvahiAddressLookup::found(const AvahiAddress& address, std::uint16_t port, AvahiIfIndex interface) {
  SocketAddress result{.address = ipv4Address(address, port), .interface = interface};
  if (address.proto == AVAHI_PROTO_INET6) result.address = ipv6Address(address, port, interface);
  std::vector<unsigned char> bytes = std::visit([](const auto& ip) { return bytesOf(ip); }, result.address);
  if (std::ranges::find(known_, bytes) != known_.end()) return;
  known_.push_back(std::move(bytes));
  if (output_.didFindAddress) output_.didFindAddress(result);
}

void AvahiAddressLookup::end() {
  output_.didFindAddress = nullptr;
  if (const auto didEnd = std::exchange(output_.didEnd, nullptr)) didEnd();
}

}  // namespace tandemview
