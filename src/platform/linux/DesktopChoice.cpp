#include "platform/linux/DesktopChoice.h"

#include <array>

#include "platform/linux/gnome/GnomeDesktop.h"
#include "platform/linux/x11/X11Desktop.h"

namespace tandemview {

namespace {

template <typename Kind>
std::unique_ptr<Desktop> make() {
  return std::make_unique<Kind>();
}

struct DesktopKind {
  const char* name;
  std::unique_ptr<Desktop> (*make)();
};

/// In the order in which they are looked for: a Wayland session offers an X server, too, which sees little of it.
constexpr std::array kinds = {DesktopKind{"gnome", make<GnomeDesktop>}, DesktopKind{"x11", make<X11Desktop>}};

}  // namespace

std::vector<std::string> desktopNames() {
  std::vector<std::string> names;
  for (const DesktopKind& kind : kinds) names.emplace_back(kind.name);
  return names;
}

std::unique_ptr<Desktop> chooseDesktop(const std::string& name) {
  std::unique_ptr<Desktop> desktop;
  for (const DesktopKind& kind : kinds) {
    if (!name.empty() && name != kind.name) continue;
    desktop = kind.make();
    if (desktop->isAvailable()) break;
  }
  return desktop;
}

}  // namespace tandemview
