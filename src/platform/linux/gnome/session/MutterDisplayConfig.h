#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/bus/BusService.h"
#include "platform/linux/gnome/session/GnomeLayout.h"

namespace tandemview {

/// Reads and changes the arrangement of the monitors. Made, used and destroyed on the connection's queue.
class MutterDisplayConfig {
 public:
  /// `changed`: the arrangement may be another one. `ownerChanged`: the compositor has come or gone.
  MutterDisplayConfig(BusConnection& connection, std::function<void()> changed,
                      std::function<void(bool isThere)> ownerChanged);

  /// Absent if nobody answers.
  std::optional<GnomeLayout> read();

  /// Arranges all active monitors, for as long as the session lasts. False: refused, or `layout` is out of date. A busy
  /// compositor may still be about to do it; what is read next comes after that.
  bool apply(const GnomeLayout& layout, const std::vector<GnomeLayout::Screen>& screens);

 private:
  DisplayID number(const std::string& identity);

  BusConnection& connection_;
  BusService service_;
  std::map<std::string, DisplayID> numbers_;  // counted up; a monitor that comes back gets the number that it had
};

}  // namespace tandemview
