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
                          .didFail = [this](const Error& error) { cannotBeAnnounced(error); }});
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
        if (error) return self->cannotBeAnnounced(*error);
        self->commit();
      });
}

void AvahiAnnouncement::commit() {
  if (!group_) return;
  daemon_->call(*group_, "Commit", {}, [weak = weak_from_this()](const std::optional<Error>& error) {
    const auto self = weak.lock();
    if (self && error) self->cannotBeAnnounced(*error);
  });
}

void AvahiAnnouncement::groupReported(sdbus::Message& arguments) {
  std::int32_t state = 0;
  std::string error;
  arguments >> state >> error;
  if (state == AvahiNames::groupIsEstablished) {
    report_(State::Announced, fmt::format("{} is announced, on port {}", name_, port_));
  }
  if (state == AvahiNames::groupCollides) isTaken();
  if (state == AvahiNames::groupHasFailed) cannotBeAnnounced({.domain = error, .description = error});
}

void AvahiAnnouncement::cannotBeAnnounced(const Error& error) {
  if (error.domain == AvahiNames::collisionError) return isTaken();
  report_(State::Failed, fmt::format("{} cannot be announced: {}", name_, error.localizedDescription()));
}

void AvahiAnnouncement::isTaken() {
  report_(State::Taken, fmt::format("{} cannot be announced: another phone has this name", name_));
}

}  // namespace tandemview
