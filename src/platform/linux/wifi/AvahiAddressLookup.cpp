#include "platform/linux/wifi/AvahiAddressLookup.h"

#include <arpa/inet.h>
#include <sdbus-c++/sdbus-c++.h>

#include <optional>
#include <utility>

#include "platform/linux/wifi/AvahiNames.h"

namespace tandemview {

namespace {

/// A host with more interfaces than that has found the service on enough of them.
constexpr std::size_t mostResolvers = 32;

std::optional<SocketAddress> ipv6Address(const std::string& text, std::uint16_t port, std::int32_t interface) {
  sockaddr_in6 result{};
  result.sin6_family = AF_INET6;
  result.sin6_port = htons(port);
  if (::inet_pton(AF_INET6, text.c_str(), &result.sin6_addr) != 1) return std::nullopt;
  if (IN6_IS_ADDR_LINKLOCAL(&result.sin6_addr)) result.sin6_scope_id = static_cast<std::uint32_t>(interface);
  return SocketAddress{.address = result, .interface = interface};
}

std::optional<SocketAddress> ipv4Address(const std::string& text, std::uint16_t port, std::int32_t interface) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  if (::inet_pton(AF_INET, text.c_str(), &result.sin_addr) != 1) return std::nullopt;
  return SocketAddress{.address = result, .interface = interface};
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
  for (const AvahiLocation& location : endpoint.locations) {
    for (const std::int32_t family : {AvahiNames::ipv6, AvahiNames::ipv4}) {
      if (daemon_->isRunning() && resolvers_.size() < mostResolvers) askAt(location, family, endpoint.service);
    }
  }
  if (!resolvers_.empty()) return;
  daemon_->queue()->async([weak = weak_from_this()] {
    if (const auto lookup = weak.lock()) lookup->end();
  });
}

void AvahiAddressLookup::askAt(const AvahiLocation& location, std::int32_t family, const AvahiServiceName& service) {
  const std::size_t resolver = resolvers_.size();
  resolvers_.push_back(daemon_->make(AvahiNames::serviceResolver, "ServiceResolverNew",
                                     [&](sdbus::Message& call) {
                                       call << location.interface << location.protocol << service.name << service.type
                                            << service.domain << family
                                            << (AvahiNames::byMulticast | AvahiNames::withoutText);
                                     },
                                     {.didSignal =
                                          [this, resolver](const std::string& signal, sdbus::Message& arguments) {
                                            if (signal == "Found") found(arguments);
                                            answered(resolver);
                                          },
                                      .didFail = [this, resolver](const Error&) { answered(resolver); }}));
}

void AvahiAddressLookup::daemonDidStop() {
  resolvers_.clear();
  end();
}

void AvahiAddressLookup::found(sdbus::Message& arguments) {
  AvahiLocation location;
  std::string name, type, domain, host, text;
  std::int32_t family = AvahiNames::anyProtocol;
  std::uint16_t port = 0;
  arguments >> location.interface >> location.protocol >> name >> type >> domain >> host >> family >> text >> port;
  const auto address = family == AvahiNames::ipv6 ? ipv6Address(text, port, location.interface)
                                                  : ipv4Address(text, port, location.interface);
  if (!address || !known_.emplace(location.interface, text + " " + std::to_string(port)).second) return;
  if (output_.didFindAddress) output_.didFindAddress(*address);
}

void AvahiAddressLookup::answered(std::size_t resolver) {
  answered_.insert(resolver);
  if (answered_.size() == resolvers_.size()) end();
}

void AvahiAddressLookup::end() {
  output_.didFindAddress = nullptr;
  if (const auto didEnd = std::exchange(output_.didEnd, nullptr)) didEnd();
}

}  // namespace tandemview
