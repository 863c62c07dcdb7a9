#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/linux/wifi/AvahiDaemon.h"

namespace tandemview {

/// Makes the phone's service known to the hosts nearby, as long as it lives and whenever there is an Avahi daemon.
/// Lives on one queue.
class WiFiAnnouncement final : public AvahiDaemonUser, public std::enable_shared_from_this<WiFiAnnouncement> {
 public:
  /// One line for people: that the service is known, or why it is not.
  using Report = std::function<void(const std::string& text)>;

  static std::shared_ptr<WiFiAnnouncement> of(const std::string& code, std::uint16_t port,
                                              const std::shared_ptr<Queue>& queue, Report report);

 private:
  WiFiAnnouncement(std::string name, std::uint16_t port, const std::shared_ptr<Queue>& queue, Report report);

  void daemonDidStart() override;
  void daemonDidStop() override { group_ = nullptr; }
  void addService();
  void commit();
  void groupReported(sdbus::Message& arguments);
  void cannotBeAnnounced(const std::string& reason);

  const std::string name_;
  const std::uint16_t port_;
  const Report report_;
  const std::shared_ptr<AvahiDaemon> daemon_;
  std::shared_ptr<AvahiObject> group_;
};

}  // namespace tandemview
