#pragma once

#include <avahi-client/publish.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/linux/AvahiDaemon.h"

namespace tandemview {

/// Makes the phone's service known to the hosts nearby, as long as it lives and whenever there is an Avahi daemon.
/// Lives on one queue.
class WiFiAnnouncement final : public AvahiDaemonUser {
 public:
  /// One line for people: that the service is known, or why it is not.
  using Report = std::function<void(const std::string& text)>;

  static std::shared_ptr<WiFiAnnouncement> of(const std::string& code, std::uint16_t port,
                                              const std::shared_ptr<Queue>& queue, Report report);

 private:
  WiFiAnnouncement(std::string name, std::uint16_t port, const std::shared_ptr<Queue>& queue, Report report);

  void daemonDidStart(AvahiClient& client) override;
  void daemonDidStop() override { group_ = nullptr; }
  static void groupReported(AvahiEntryGroup* group, AvahiEntryGroupState state, void* announcement);

  const std::string name_;
  const std::uint16_t port_;
  const Report report_;
  const std::shared_ptr<AvahiDaemon> daemon_;
  std::unique_ptr<AvahiEntryGroup, int (*)(AvahiEntryGroup*)> group_;
};

}  // namespace tandemview
