#include "platform/linux/session/ConfigurationDirectory.h"

#include <cstdlib>

namespace tandemview {

std::string configurationDirectory() {
  const char* configuration = std::getenv("XDG_CONFIG_HOME");
  // A relative path is to be ignored, XDG says.
  if (configuration && configuration[0] == '/') return configuration;
  const char* home = std::getenv("HOME");
  return std::string(home ? home : "") + "/.config";
}

}  // namespace tandemview
