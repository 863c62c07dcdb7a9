#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <memory>
#include <string>
#include <vector>

namespace tandemview {

/// Somebody on the bus who sends signals in others' names, straight to everybody.
class Stranger {
 public:
  explicit Stranger(const std::string& address) : bus_(sdbus::createSessionBusConnectionWithAddress(address)) {}

  std::string name() const { return bus_->getUniqueName(); }

  /// Returns when the bus has passed it on.
  template <typename... Arguments>
  void send(const std::string& path, const std::string& interface, const std::string& signal,
            const Arguments&... arguments) {
    tellEverybody(*bus_, path, interface, signal, arguments...);
  }

  /// The same from any connection.
  template <typename... Arguments>
  static void tellEverybody(sdbus::IConnection& bus, const std::string& path, const std::string& interface,
                            const std::string& signal, const Arguments&... arguments) {
    const auto object = sdbus::createObject(bus, path);
    for (const std::string& name : names(bus)) {
      sdbus::Signal message = object->createSignal(interface, signal);
      (message << ... << arguments);
      message.setDestination(name);
      message.send();
    }
    names(bus);
  }

  /// That the owner of a name has gone.
  void denyOwner(const std::string& name) {
    send(daemonPath, daemonName, "NameOwnerChanged", name, std::string(":1.0"), std::string());
  }

 private:
  static constexpr const char* daemonName = "org.freedesktop.DBus";
  static constexpr const char* daemonPath = "/org/freedesktop/DBus";

  static std::vector<std::string> names(sdbus::IConnection& bus) {
    std::vector<std::string> names;
    sdbus::createProxy(bus, daemonName, daemonPath)
        ->callMethod("ListNames")
        .onInterface(daemonName)
        .storeResultsTo(names);
    return names;
  }

  const std::unique_ptr<sdbus::IConnection> bus_;
};

}  // namespace tandemview
