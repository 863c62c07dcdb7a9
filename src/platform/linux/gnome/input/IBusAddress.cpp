#include "platform/linux/gnome/input/IBusAddress.h"

#include <cstdlib>
#include <string_view>

#include "platform/linux/session/ConfigurationDirectory.h"
#include "runtime/FileContents.h"

namespace tandemview {

namespace {

/// The part of `text` before its first line break.
std::string_view firstLine(std::string_view text) {
  return text.substr(0, text.find('\n'));
}

std::string machineID() {
  for (const char* path : {"/etc/machine-id", "/var/lib/dbus/machine-id"}) {
    if (const auto contents = contentsOfRegularFile(path)) return std::string(firstLine(*contents));
  }
  return {};
}

}  // namespace

std::optional<std::string> ibusAddress() {
  const char* const display = std::getenv("WAYLAND_DISPLAY");
  const auto contents = contentsOfRegularFile(configurationDirectory() + "/ibus/bus/" + machineID() + "-unix-" +
                                              (display ? display : "wayland-0"));
  if (!contents) return std::nullopt;
  constexpr std::string_view name = "\nIBUS_ADDRESS=";
  const auto start = contents->find(name);
  if (start == std::string::npos) return std::nullopt;
  return std::string(firstLine(std::string_view(*contents).substr(start + name.size())));
}

}  // namespace tandemview
