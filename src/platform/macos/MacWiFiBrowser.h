#pragma once

#import <Network/Network.h>

#include <atomic>
#include <memory>
#include <vector>

#include "wifi/WiFiNetwork.h"

namespace tandemview {

class MacWiFiBrowser final : public WiFiBrowser {
 public:
  explicit MacWiFiBrowser(nw_browser_t browser) : browser_(browser) {}
  ~MacWiFiBrowser() override;

  void start(WiFiBrowserOutput output) override;
  void findHosts(const std::vector<std::shared_ptr<const WiFiEndpoint>>& services, double seconds,
                 HostsCompletion completion) override;
  void cancel() override;

 private:
  const nw_browser_t browser_;
  std::shared_ptr<Queue> queue_;  // of the output
  const std::shared_ptr<std::atomic<bool>> isCancelled_ = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace tandemview
