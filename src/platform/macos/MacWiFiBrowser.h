#pragma once

#import <Network/Network.h>

#include "wifi/WiFiNetwork.h"

namespace tandemview {

class MacWiFiBrowser final : public WiFiBrowser {
 public:
  explicit MacWiFiBrowser(nw_browser_t browser) : browser_(browser) {}
  ~MacWiFiBrowser() override;

  void start(WiFiBrowserOutput output) override;
  void cancel() override;

 private:
  const nw_browser_t browser_;
};

}  // namespace tandemview
