#include "platform/linux/gnome/GnomeDesktop.h"

#include "platform/linux/gnome/GnomePermissions.h"
#include "platform/linux/gnome/GnomeTexts.h"
#include "platform/linux/gnome/capture/GnomeCaptureSystem.h"
#include "platform/linux/gnome/display/GnomeDisplaySystem.h"
#include "platform/linux/gnome/display/GnomeScreens.h"
#include "platform/linux/gnome/input/GnomeEventSystem.h"
#include "platform/linux/gnome/session/GnomeService.h"
#include "runtime/Log.h"

namespace tandemview {

GnomeDesktop::GnomeDesktop() : isAvailable_(isInGnomeSession()) {}

DesktopTexts GnomeDesktop::texts() const {
  return gnomeTexts();
}

Desktop::Ports GnomeDesktop::open(const Surroundings& surroundings) {
  const auto session = GnomeSession::open(surroundings.userDefaults);
  session->onEnd(surroundings.mainQueue, [ended = surroundings.sessionEnded] {
    Log::line("👋 The connection to the session's bus has ended");
    ended();
  });
  return {.screens = std::make_shared<GnomeScreens>(session),
          .displays = std::make_shared<GnomeDisplaySystem>(session),
          .captures = std::make_shared<GnomeCaptureSystem>(session, surroundings.mainQueue),
          .events = GnomeEventSystem::make(
              {.queue = surroundings.mainQueue, .clock = surroundings.clock, .session = session}),
          .permissions = std::make_shared<GnomePermissions>(surroundings.application, session)};
}

}  // namespace tandemview
