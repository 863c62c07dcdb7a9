#include "platform/linux/gnome/session/GnomeService.h"

#include <sdbus-c++/sdbus-c++.h>

#include <cstdlib>
#include <string_view>

#include "platform/linux/bus/BusConnection.h"
#include "platform/linux/gnome/session/MutterNames.h"

namespace tandemview {

namespace {

constexpr const char* busName = "org.freedesktop.DBus";

bool isOwned(sdbus::IConnection& bus, const char* name) {
  try {
    bool isThere = false;
    const auto daemon = sdbus::createProxy(bus, busName, "/org/freedesktop/DBus");
    daemon->callMethod("NameHasOwner").onInterface(busName).withArguments(std::string(name)).storeResultsTo(isThere);
    return isThere;
  } catch (const sdbus::Error&) {
    return false;
  }
}

}  // namespace

bool isInGnomeSession() {
  const char* const type = std::getenv("XDG_SESSION_TYPE");
  if (type && std::string_view(type) == "x11") return false;
  const auto bus = BusConnection::open(BusConnection::Bus::Session);
  return bus && isOwned(**bus, mutter::screenCast) && isOwned(**bus, mutter::remoteDesktop);
}

}  // namespace tandemview
