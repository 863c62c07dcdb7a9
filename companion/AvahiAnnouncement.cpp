#include "companion/AvahiAnnouncement.h"

#include <fmt/format.h>
#include <sdbus-c++/sdbus-c++.h>

#include <utility>
#include <vector>

#include "platform/linux/wifi/AvahiNames.h"

namespace tandemview {

std::shared_ptr<WiFiAnnouncement> WiFiAnnouncement::of(const std::string& code, std::uint16_t port,
                                                       const std::shared_ptr<Queue>& queue, Report report) {
  auto announcement = std::make_shared<AvahiAnnouncement>(serviceName(code), port, queue, std::move(report));
  announcement->start();
  return announcement;
}

AvahiAnnouncement::AvahiAnnouncement(std::string name, std::uint16_t port, const std::shared_ptr<Queue>& queue,
                                     Report report)
    : name_(std::move(name)), port_(port), report_(std::move(report)), daemon_(std::make_shared<AvahiDaemon>(queue)) {}

void AvahiAnnouncement::daemonDidStart() {
  group_ = daemon_->make(AvahiNames::entryGroup, "EntryGroupNew", {},
                         {.didAppear = [this] { addService(); },
                          .didSignal =
                              [this](const std::string& signal, sdbus::Message& arguments) {
                                if (signal == "StateChanged") groupReported(arguments);
                              },
                          .didFail = [this](const Error& error) { cannotBeAnnounced(error.localizedDescription()); }});
}

void AvahiAnnouncement::addService() {
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

void AvahiAnnouncement::commit() {
  if (!group_) return;
  daemon_->call(*group_, "Commit", {}, [weak = weak_from_this()](const std::optional<Error>& error) {
    const auto self = weak.lock();
    if (self && error) self->cannotBeAnnounced(error->localizedDescription());
  });
}

void AvahiAnnouncement::groupReported(sdbus::Message& arguments) {
  std::int32_t state = 0;
  std::string error;
  arguments >> state >> error;
  if (state == AvahiNames::groupIsEstablished) {
    report_(State::Announced, fmt::format("{} is announced, on port {}", name_, port_));
  }
  if (state == AvahiNames::groupCollides) cannotBeAnnounced("another phone has this name", State::Taken);
  if (state == AvahiNames::groupHasFailed) cannotBeAnnounced(error);
}

void AvahiAnnouncement::cannotBeAnnounced(const std::string& reason, State state) {
  report_(state, fmt::format("{} cannot be announced: {}", name_, reason));
}

}  // namespace tandemview
