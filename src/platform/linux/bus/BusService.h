#pragma once

#include <sdbus-c++/TypeTraits.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/bus/BusConnection.h"

namespace sdbus {
class IProxy;
class Message;
}  // namespace sdbus

namespace tandemview {

/// Calls `changed` with the name's new owner, empty for none, whenever the bus itself tells of one. The watch ends with
/// the slot, which must not go from within `changed` and not outlive the bus.
[[nodiscard]] sdbus::Slot watchOwner(sdbus::IConnection& bus, const std::string& name,
                                     std::function<void(const std::string& newOwner)> changed);

/// A service on a bus, by its well-known name: its object's methods and signals, its coming and going. Anybody may send
/// us a signal in the service's name, because the bus asks no match rules about what is sent straight to a receiver,
/// and the library doesn't know who owns a name. Here a signal counts only if the name's owner has sent it.
///
/// Made, used and destroyed on the connection's queue: before the connection, and not from within its own callbacks.
class BusService final {
 public:
  /// A time-out for calls, in microseconds. The bus itself answers for a service that ends meanwhile.
  static constexpr std::uint64_t forever = std::numeric_limits<std::uint64_t>::max();

  struct Place {
    const char* name;
    const char* path;
    const char* interface;
  };

  /// `ownerChanged` is called when the service has come (or another one in its place) or gone, from the first change on
  /// that happens after the call. This and what follows throw sdbus::Error if the bus refuses.
  BusService(BusConnection& connection, const Place& place, std::function<void(bool isThere)> ownerChanged);
  ~BusService();

  /// Signals whose arguments the handler can't read are dropped.
  void uponSignal(const std::string& signal, std::function<void(sdbus::Message&)> handler);

  /// For calls of its methods.
  sdbus::IProxy& object() { return *object_; }

 private:
  void askForOwner(BusConnection& connection);

  sdbus::IConnection& bus_;
  const Place place_;
  std::string owner_;  // the unique name; empty: none
  std::unique_ptr<sdbus::IProxy> object_;
  std::unique_ptr<sdbus::IProxy> daemon_;
  std::vector<sdbus::Slot> watches_;
};

}  // namespace tandemview
