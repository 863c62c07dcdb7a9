#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "companion/WiFiAnnouncement.h"
#include "platform/linux/wifi/AvahiDaemon.h"

namespace tandemview {

/// By the Avahi daemon, whenever there is one.
class AvahiAnnouncement final : public WiFiAnnouncement,
                                public AvahiDaemonUser,
                                public std::enable_shared_from_this<AvahiAnnouncement> {
 public:
  AvahiAnnouncement(std::string name, std::uint16_t port, const std::shared_ptr<Queue>& queue, Report report);

  void start() { daemon_->add(shared_from_this()); }

 private:
  void daemonDidStart() override;
  void daemonDidStop() override { group_ = nullptr; }
  void addService();
  void commit();
  void groupReported(sdbus::Message& arguments);
  void cannotBeAnnounced(const Error& error);
  void isTaken();

  const std::string name_;
  const std::uint16_t port_;
  const Report report_;
  const std::shared_ptr<AvahiDaemon> daemon_;
  std::shared_ptr<AvahiObject> group_;
};

}  // namespace tandemview
