#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/linux/desktop/Desktop.h"

namespace tandemview {

/// What --desktop takes, in the order in which desktops are looked for.
std::vector<std::string> desktopNames();

/// The desktop of that name or, if the name is empty, the first that is available. If none is, the last, whose texts
/// say what is missing.
std::unique_ptr<Desktop> chooseDesktop(const std::string& name);

}  // namespace tandemview
