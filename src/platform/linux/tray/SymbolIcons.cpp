#include "platform/linux/tray/SymbolIcons.h"

#include <map>

namespace tandemview {

std::string iconForSymbol(std::string_view symbol) {
  // Names with "tandemview" are our own, for what the standard icon names and the common themes lack.
  static const std::map<std::string_view, const char*> icons = {
      {"arrow.clockwise.circle.fill", "view-refresh-symbolic"},
      {"arrow.up.forward.app", "system-run-symbolic"},
      {"checkmark.circle.fill", "emblem-ok-symbolic"},
      {"circle", "tandemview-dot-symbolic"},
      {"circle.fill", "tandemview-dot-filled-symbolic"},
      {"cpu", "tandemview-cpu-symbolic"},
      {"dial.medium", "tandemview-quality-symbolic"},
      {"exclamationmark.triangle.fill", "dialog-warning-symbolic"},
      {"gearshape", "emblem-system-symbolic"},
      {"laptopcomputer.and.iphone", "tandemview-symbolic"},
      {"power", "application-exit-symbolic"},  // "system-shutdown" would promise to switch the machine off
      {"speedometer", "tandemview-speedometer-symbolic"},
      {"wifi", "network-wireless-symbolic"},
      {"wrench.and.screwdriver.fill", "applications-utilities-symbolic"}};
  const auto found = icons.find(symbol);
  return found == icons.end() ? std::string() : found->second;
}

}  // namespace tandemview
