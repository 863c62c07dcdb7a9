#pragma once

#import <Network/Network.h>

#include "wifi/WiFiNetwork.h"

namespace tandemview {

struct MacWiFiEndpoint final : WiFiEndpoint {
  explicit MacWiFiEndpoint(nw_endpoint_t found) : endpoint(found) {}

  const nw_endpoint_t endpoint;
  nw_interface_t onlyInterface = nil;  // of the link on which it was seen, if that is one
  bool isOnLoopback = false;           // seen there, perhaps among others
};

}  // namespace tandemview
