#include "companion/WiFiAnnouncement.h"

#include <fmt/format.h>
#include <sdbus-c++/sdbus-c++.h>

#include <utility>
#include <vector>

#include "platform/linux/AvahiNames.h"

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
    : name_(std::move(name)), port_(port), report_(std::move(report)), daemon_(std::make_shared<AvahiDaemon>(queue)) {}

void WiFiAnnouncement::daemonDidStart() {
  group_ = daemon_->make(AvahiNames::entryGroup, "EntryGroupNew", {},
                         {.didAppear = [this] { addService(); },
                          .didSignal =
                              [this](const std::string& signal, sdbus::Message& arguments) {
                                if (signal == "StateChanged") groupReported(arguments);
                              },
                          .didFail = [this](const Error& error) { cannotBeAnnounced(error.localizedDescription()); }});
}

void WiFiAnnouncement::addService() {
  daemon_->call(
      *group_, "AddService",
      [this](sdbus::Message& call) {
        call << AvahiNames::anyInterface << AvahiNames::anyProtocol << std::uint32_t{0} << name_ << serviceType
             << "" /* the default domain */ << "" /* this host */ << port_ << std::vector<std::vector<std::uint8_t>>();
      },
      [weak = weak_from_this()](const std::optional<Error>& error) {
        const auto self = weak.lock();
        if (!self) return;
        if (error) return self->cannotBeAnnounced(error->localizedDescription());
        self->commit();
      });
}

void WiFiAnnouncement::commit() {
  if (!group_) return;
  daemon_->call(*group_, "Commit", {}, [weak = weak_from_this()](const std::optional<Error>& error) {
    const auto self = weak.lock();
    if (self && error) self->cannotBeAnnounced(error->localizedDescription());
  });
}

void WiFiAnnouncement::groupReported(sdbus::Message& arguments) {
  std::int32_t state = 0;
  std::string error;
  arguments >> state >> error;
  if (state == AvahiNames::groupIsEstablished) report_(fmt::format("{} is announced, on port {}", name_, port_));
  if (state == AvahiNames::groupCollides) cannotBeAnnounced("another phone has this name");
  if (state == AvahiNames::groupHasFailed) cannotBeAnnounced(error);
}

void WiFiAnnouncement::cannotBeAnnounced(const std::string& reason) {
  report_(fmt::format("{} cannot be announced: {}", name_, reason));
}

}  // namespace tandemview
