#pragma once

#include <memory>
#include <string>

#include "runtime/Queue.h"
#include "wifi/WiFiNetwork.h"

namespace tandemview {

/// Services found by the Avahi daemon, and TCP connections to them. A daemon or a system bus that is absent or goes
/// away is not a failure: what searches wait, and go on when it is back. The host's direct links count as networks of
/// their own if it has any; none is set up.
class AvahiWiFiNetwork final : public WiFiNetwork {
 public:
  /// All work is done on `queue`, which is the queue of every output too. The network is destroyed on the queue or
  /// after the queue has ended.
  explicit AvahiWiFiNetwork(std::shared_ptr<Queue> queue);
  ~AvahiWiFiNetwork() override;

  std::shared_ptr<WiFiBrowser> makeBrowser(const std::string& serviceType) override;
  std::shared_ptr<WiFiConnection> makeConnection(const std::shared_ptr<const WiFiEndpoint>& endpoint) override;

 private:
  struct Interior;
  class Browser;
  class Connection;

  const std::shared_ptr<Interior> interior_;
};

}  // namespace tandemview
