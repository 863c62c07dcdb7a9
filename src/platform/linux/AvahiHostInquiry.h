#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/linux/AvahiDaemon.h"
#include "wifi/WiFiNetwork.h"

namespace tandemview {

/// Asks who announces some services: at each place where each has been seen, because two hosts may claim one name in
/// different places. Lives on the daemon's queue; letting go of it ends it.
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
  void daemonDidStop() override { resolvers_.clear(); }
  void end();

  const std::shared_ptr<AvahiDaemon> daemon_;
  std::vector<WiFiBrowser::HostNames> hosts_;  // of each service
  WiFiBrowser::HostsCompletion completion_;
  std::vector<std::shared_ptr<AvahiObject>> resolvers_;
};

}  // namespace tandemview
