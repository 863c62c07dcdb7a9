#pragma once

namespace tandemview {

/// Whether this process belongs to a session of GNOME's on Wayland, whose compositor makes displays for others. On X11
/// it answers to the same names, but can make none.
bool isInGnomeSession();

}  // namespace tandemview
