#include "platform/linux/bus/BusService.h"

#include <fmt/format.h>
#include <sdbus-c++/sdbus-c++.h>

#include <utility>

namespace tandemview {

namespace {

/// The bus puts each sender's unique name into its messages, whatever they said, and this one into its own.
constexpr const char* daemonName = "org.freedesktop.DBus";

/// The library takes what a callback throws for a fault of the connection.
std::function<void(sdbus::Message&)> droppingUnreadable(std::function<void(sdbus::Message&)> handler) {
  return [handler = std::move(handler)](sdbus::Message& message) {
    try {
      handler(message);
    } catch (const sdbus::Error&) {
      // Not the signal that its name promises.
    }
  };
}

}  // namespace

sdbus::Slot watchOwner(sdbus::IConnection& bus, const std::string& name,
                       std::function<void(const std::string& newOwner)> changed) {
  const std::string match =
      fmt::format("type='signal',sender='{0}',interface='{0}',member='NameOwnerChanged',arg0='{1}'", daemonName, name);
  return bus.addMatch(match, droppingUnreadable([changed = std::move(changed)](sdbus::Message& message) {
                        if (message.getSender() != daemonName) return;
                        std::string changedName, oldOwner, newOwner;
                        message >> changedName >> oldOwner >> newOwner;
                        changed(newOwner);
                      }));
}

BusService::BusService(BusConnection& connection, const Place& place, std::function<void(bool isThere)> ownerChanged)
    : bus_(connection.bus()), place_(place), object_(sdbus::createProxy(bus_, place.name, place.path)) {
  watches_.push_back(
      watchOwner(bus_, place.name, [this, ownerChanged = std::move(ownerChanged)](const std::string& newOwner) {
        owner_ = newOwner;
        ownerChanged(!newOwner.empty());
      }));
  askForOwner(connection);
}

BusService::~BusService() = default;

/// Before any signal is subscribed to, so that the answer precedes the first one: the bus keeps to the order.
void BusService::askForOwner(BusConnection& connection) {
  daemon_ = sdbus::createProxy(bus_, daemonName, "/org/freedesktop/DBus");
  daemon_->callMethodAsync("GetNameOwner")
      .onInterface(daemonName)
      .withTimeout(forever)
      .withArguments(std::string(place_.name))
      .uponReplyInvoke([this](const sdbus::Error* error, const std::string& owner) {
        if (!error) owner_ = owner;
      });
  connection.update();
}

void BusService::uponSignal(const std::string& signal, std::function<void(sdbus::Message&)> handler) {
  const std::string match = fmt::format("type='signal',sender='{}',path='{}',interface='{}',member='{}'", place_.name,
                                        place_.path, place_.interface, signal);
  watches_.push_back(
      bus_.addMatch(match, droppingUnreadable([this, handler = std::move(handler)](sdbus::Message& message) {
                      if (message.getSender() == owner_) handler(message);
                    })));
}

}  // namespace tandemview
