#pragma once

#include <string>
#include <vector>

#include "app/LoginItemSystem.h"

namespace tandemview {

/// The program's entry among those that the desktop starts at login, by freedesktop.org's rules for
/// autostart.
class AutostartEntry final : public LoginItemSystem {
 public:
  /// "$XDG_CONFIG_HOME/autostart/tandemview.desktop", or below "~/.config".
  static std::string defaultPath();

  /// `command`: the executable's path and its arguments.
  AutostartEntry(std::string path, std::vector<std::string> command);

  std::optional<Error> registerApplication() override;
  std::optional<Error> unregisterApplication() override;

 private:
  const std::string path_;
  const std::vector<std::string> command_;
};

}  // namespace tandemview
