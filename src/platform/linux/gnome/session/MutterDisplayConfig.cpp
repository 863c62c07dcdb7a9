#include "platform/linux/gnome/session/MutterDisplayConfig.h"

#include <fmt/format.h>
#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>
#include <tuple>
#include <utility>

#include "platform/linux/gnome/session/MutterNames.h"

namespace tandemview {

namespace {

using Properties = std::map<std::string, sdbus::Variant>;
using Identity =
    sdbus::Struct<std::string, std::string, std::string, std::string>;  // connector, vendor, product, serial
using Mode = sdbus::Struct<std::string, std::int32_t, std::int32_t, double, double, std::vector<double>, Properties>;
using Monitor = sdbus::Struct<Identity, std::vector<Mode>, Properties>;
using Logical =
    sdbus::Struct<std::int32_t, std::int32_t, double, std::uint32_t, bool, std::vector<Identity>, Properties>;
using WantedMonitor = sdbus::Struct<std::string, std::string, Properties>;
using WantedLogical =
    sdbus::Struct<std::int32_t, std::int32_t, double, std::uint32_t, bool, std::vector<WantedMonitor>>;

/// Of the interface: 0 only checks, 2 would be kept after the session and makes the desktop ask the user.
constexpr std::uint32_t temporarily = 1;

constexpr std::uint32_t physicalLayout = 2;

/// For structured bindings, which don't look through the library's type.
template <typename... Parts>
const std::tuple<Parts...>& partsOf(const sdbus::Struct<Parts...>& whole) {
  return whole;
}

template <typename Value>
Value property(const Properties& properties, const char* key, Value absent) {
  const auto found = properties.find(key);
  return found == properties.end() ? absent : found->second.get<Value>();
}

/// From a compositor that is too busy to answer in time.
constexpr const char* unanswered = "org.freedesktop.DBus.Error.Timeout";

}  // namespace

MutterDisplayConfig::MutterDisplayConfig(BusConnection& connection, std::function<void()> changed,
                                         std::function<void(bool isThere)> ownerChanged)
    : connection_(connection),
      service_(connection,
               {.name = mutter::displayConfig, .path = mutter::displayConfigPath, .interface = mutter::displayConfig},
               std::move(ownerChanged)) {
  service_.uponSignal("MonitorsChanged", [changed = std::move(changed)](sdbus::Message&) { changed(); });
}

std::optional<GnomeLayout> MutterDisplayConfig::read() {
  std::vector<Monitor> monitors;
  std::vector<Logical> logicals;
  Properties properties;
  GnomeLayout layout;
  try {
    service_.object()
        .callMethod("GetCurrentState")
        .onInterface(mutter::displayConfig)
        .storeResultsTo(layout.serial, monitors, logicals, properties);
    layout.countsPixels = property<std::uint32_t>(properties, "layout-mode", 1) == physicalLayout;
    for (const Monitor& each : monitors) {
      const auto& [identity, modes, details] = partsOf(each);
      const auto& [connector, vendor, product, serial] = partsOf(identity);
      GnomeLayout::Monitor monitor = {.id = number(fmt::format("{}\n{}\n{}\n{}", connector, vendor, product, serial)),
                                      .connector = connector,
                                      .product = product,
                                      .displayName = property<std::string>(details, "display-name", product),
                                      .isBuiltIn = property(details, "is-builtin", false)};
      for (const Mode& mode : modes) {
        if (!property(mode.get<6>(), "is-current", false)) continue;
        monitor.mode = mode.get<0>();
        monitor.size = {.width = mode.get<1>(), .height = mode.get<2>()};
      }
      layout.monitors.push_back(std::move(monitor));
    }
    for (const Logical& each : logicals) {
      const auto& [x, y, scale, transform, isMain, identities, details] = partsOf(each);
      GnomeLayout::Screen screen = {.x = x, .y = y, .scale = scale, .transform = transform, .isMain = isMain};
      for (const Identity& identity : identities) screen.connectors.push_back(identity.get<0>());
      layout.screens.push_back(std::move(screen));
    }
  } catch (const sdbus::Error&) {
    return std::nullopt;
  }
  connection_.update();
  return layout;
}

DisplayID MutterDisplayConfig::number(const std::string& identity) {
  return numbers_.try_emplace(identity, static_cast<DisplayID>(numbers_.size() + 1)).first->second;
}

bool MutterDisplayConfig::apply(const GnomeLayout& layout, const std::vector<GnomeLayout::Screen>& screens) {
  std::vector<WantedLogical> wanted;
  for (const GnomeLayout::Screen& screen : screens) {
    std::vector<WantedMonitor> monitors;
    for (const std::string& connector : screen.connectors) {
      const GnomeLayout::Monitor* const monitor = layout.monitor(connector);
      if (monitor) monitors.emplace_back(connector, monitor->mode, Properties());
    }
    wanted.emplace_back(screen.x, screen.y, screen.scale, screen.transform, screen.isMain, monitors);
  }
  try {
    service_.object()
        .callMethod("ApplyMonitorsConfig")
        .onInterface(mutter::displayConfig)
        .withArguments(layout.serial, temporarily, wanted, Properties());
    connection_.update();
    return true;
  } catch (const sdbus::Error& error) {
    return error.getName() == unanswered;
  }
}

}  // namespace tandemview
