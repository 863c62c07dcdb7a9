#include "companion/WiFiAnnouncement.h"

#include <fmt/core.h>

#include <utility>

namespace tandemview {

namespace {

constexpr const char* serviceType = "_scrstream._tcp";

}  // namespace

std::shared_ptr<WiFiAnnouncement> WiFiAnnouncement::of(const std::string& code, std::uint16_t port,
                                                       const std::shared_ptr<Queue>& queue, Report report) {
  std::shared_ptr<WiFiAnnouncement> announcement(
      new WiFiAnnouncement("ScrRcv-" + code, port, queue, std::move(report)));
  announcement->daemon_->add(announcement);
  return announcement;
}

WiFiAnnouncement::WiFiAnnouncement(std::string name, std::uint16_t port, const std::shared_ptr<Queue>& queue,
                                   Report report)
    : name_(std::move(name)),
      port_(port),
      report_(std::move(report)),
      daemon_(std::make_shared<AvahiDaemon>(queue)),
      group_(nullptr, avahi_entry_group_free) {}

void WiFiAnnouncement::daemonDidStart(AvahiClient& client) {
  group_.reset(avahi_entry_group_new(&client, groupReported, this));
  if (group_ &&
      avahi_entry_group_add_service(group_.get(), AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, AvahiPublishFlags{},
                                    name_.c_str(), serviceType, /*domain=*/nullptr, /*host=*/nullptr, port_,
                                    /*text=*/nullptr) == 0 &&
      avahi_entry_group_commit(group_.get()) == 0) {
    return;
  }
  report_(fmt::format("{} cannot be announced: {}", name_, daemon_->lastError().localizedDescription()));
}

void WiFiAnnouncement::groupReported(AvahiEntryGroup*, AvahiEntryGroupState state, void* announcement) {
  const auto& self = *static_cast<WiFiAnnouncement*>(announcement);
  switch (state) {
    case AVAHI_ENTRY_GROUP_ESTABLISHED:
      return self.report_(fmt::format("{} is announced, on port {}", self.name_, self.port_));
    case AVAHI_ENTRY_GROUP_COLLISION:
      return self.report_(fmt::format("{} cannot be announced: another phone has this name", self.name_));
    case AVAHI_ENTRY_GROUP_FAILURE:
      return self.report_(
          fmt::format("{} cannot be announced: {}", self.name_, self.daemon_->lastError().localizedDescription()));
    case AVAHI_ENTRY_GROUP_UNCOMMITED:
    case AVAHI_ENTRY_GROUP_REGISTERING:
      return;
  }
}

}  // namespace tandemview
