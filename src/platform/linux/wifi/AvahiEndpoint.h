#pragma once

#include <compare>
#include <cstdint>
#include <memory>
#include <set>
#include <string>

#include "wifi/WiFiNetwork.h"

namespace tandemview {

class AvahiServiceSearch;

/// Where a service has been seen: on an interface, by multicast of one address family.
struct AvahiLocation {
  std::int32_t interface = 0;
  std::int32_t protocol = 0;  // as in AvahiNames

  auto operator<=>(const AvahiLocation&) const = default;
};

/// A service's full name.
struct AvahiServiceName {
  std::string name;
  std::string type;
  std::string domain;

  auto operator<=>(const AvahiServiceName&) const = default;
};

/// A service that a search has found; its addresses are looked up when somebody connects to it.
class AvahiEndpoint final : public WiFiEndpoint {
 public:
  AvahiEndpoint(AvahiServiceName serviceName, std::set<AvahiLocation> seenAt, std::weak_ptr<AvahiServiceSearch> finder)
      : service(std::move(serviceName)), locations(std::move(seenAt)), search(std::move(finder)) {}

  const AvahiServiceName service;
  const std::set<AvahiLocation> locations;
  const std::weak_ptr<AvahiServiceSearch> search;
};

}  // namespace tandemview
