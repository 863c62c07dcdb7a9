#pragma once

#include "wifi/WiFiNetwork.h"

namespace tandemview {

/// The Network framework, direct links between devices included.
class MacWiFiNetwork final : public WiFiNetwork {
 public:
  std::shared_ptr<WiFiBrowser> makeBrowser(const std::string& serviceType) override;
  std::shared_ptr<WiFiConnection> makeConnection(const std::shared_ptr<const WiFiEndpoint>& endpoint) override;
};

}  // namespace tandemview
