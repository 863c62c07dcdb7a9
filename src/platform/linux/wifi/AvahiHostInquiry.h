#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/linux/wifi/AvahiDaemon.h"
#include "wifi/WiFiNetwork.h"

namespace tandemview {

/// Asks who announces some services: for every service record of each, on all links. Lives on the daemon's queue;
/// letting go of it ends it.
class AvahiHostInquiry final : public AvahiDaemonUser, public std::enable_shared_from_this<AvahiHostInquiry> {
 public:
  static std::shared_ptr<AvahiHostInquiry> start(std::shared_ptr<AvahiDaemon> daemon,
                                                 const std::vector<std::shared_ptr<const WiFiEndpoint>>& services,
                                                 double seconds, WiFiBrowser::HostsCompletion completion);

 private:
  AvahiHostInquiry(std::shared_ptr<AvahiDaemon> daemon, std::size_t serviceCount,
                   WiFiBrowser::HostsCompletion completion);

  void ask(const std::vector<std::shared_ptr<const WiFiEndpoint>>& services, double seconds);
  void daemonDidStart() override {}
  void daemonDidStop() override { browsers_.clear(); }
  void end();

  const std::shared_ptr<AvahiDaemon> daemon_;
  std::vector<WiFiBrowser::HostNames> hosts_;  // of each service
  WiFiBrowser::HostsCompletion completion_;
  std::vector<std::shared_ptr<AvahiObject>> browsers_;
};

}  // namespace tandemview
