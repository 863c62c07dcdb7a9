#pragma once

#import <Network/Network.h>

#include "wifi/WiFiNetwork.h"

namespace tandemview {

struct MacWiFiEndpoint final : WiFiEndpoint {
  explicit MacWiFiEndpoint(nw_endpoint_t found) : endpoint(found) {}

  const nw_endpoint_t endpoint;
};

}  // namespace tandemview
