#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <atomic>

#include "support/ServedConnection.h"

namespace tandemview {

/// The desktop's side: a tray that takes items, on a connection of its own.
class Tray {
 public:
  explicit Tray(std::unique_ptr<ServedConnection> bus, bool hasHost = true) : bus_(std::move(bus)), hasHost_(hasHost) {
    watcher_ = sdbus::createObject(**bus_, "/StatusNotifierWatcher");
    watcher_->registerMethod("RegisterStatusNotifierItem")
        .onInterface(interface)
        .implementedAs([this](const std::string& path) {
          owner_ = watcher_->getCurrentlyProcessedMessage()->getSender();
          path_ = path;
          ++registrations_;
        });
    watcher_->registerProperty("IsStatusNotifierHostRegistered").onInterface(interface).withGetter([this] {
      return hasHost_.load();
    });
    for (const char* signal : {"StatusNotifierHostRegistered", "StatusNotifierHostUnregistered"}) {
      watcher_->registerSignal(signal).onInterface(interface);
    }
    watcher_->finishRegistration();
    (**bus_).requestName(interface);
  }

  /// Whether somebody draws the items.
  void setHost(bool isThere) {
    hasHost_ = isThere;
    watcher_->emitSignal(isThere ? "StatusNotifierHostRegistered" : "StatusNotifierHostUnregistered")
        .onInterface(interface);
  }

  std::string name() { return (**bus_).getUniqueName(); }
  int registrations() const { return registrations_; }
  std::unique_ptr<sdbus::IProxy> item() { return sdbus::createProxy(**bus_, owner_, path_); }
  std::unique_ptr<sdbus::IProxy> menu(sdbus::IConnection& bus) {
    return sdbus::createProxy(bus, owner_, property(*item(), "Menu").get<sdbus::ObjectPath>());
  }
  std::unique_ptr<sdbus::IProxy> menu() { return menu(**bus_); }
  static sdbus::Variant property(sdbus::IProxy& item, const std::string& name) {
    return item.getProperty(name).onInterface("org.kde.StatusNotifierItem");
  }

 private:
  static constexpr const char* interface = "org.kde.StatusNotifierWatcher";

  std::unique_ptr<ServedConnection> bus_;
  std::atomic<bool> hasHost_;
  std::unique_ptr<sdbus::IObject> watcher_;
  std::string owner_, path_;
  std::atomic<int> registrations_ = 0;
};

/// A call of the menu's interface, with the one value that it returns.
template <typename Result, typename... Arguments>
Result call(sdbus::IProxy& menu, const char* method, const Arguments&... arguments) {
  Result result;
  menu.callMethod(method).onInterface("com.canonical.dbusmenu").withArguments(arguments...).storeResultsTo(result);
  return result;
}

inline void send(sdbus::IProxy& menu, std::int32_t line, const std::string& event) {
  menu.callMethod("Event")
      .onInterface("com.canonical.dbusmenu")
      .withArguments(line, event, sdbus::Variant(0), std::uint32_t(0));
}

}  // namespace tandemview
