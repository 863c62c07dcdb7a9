#pragma once

#include <string_view>

namespace tandemview {

/// Whether the session's desktop goes by this name, one of the freedesktop.org registry such as "GNOME" or "XFCE". The
/// list of a session, XDG_CURRENT_DESKTOP, may have several: "ubuntu:GNOME".
bool isCurrentDesktop(std::string_view name);

}  // namespace tandemview
