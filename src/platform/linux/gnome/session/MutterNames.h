#pragma once

namespace tandemview::mutter {

// The compositor's own interfaces, by whose names the services go too.
inline constexpr const char* remoteDesktop = "org.gnome.Mutter.RemoteDesktop";
inline constexpr const char* remoteDesktopPath = "/org/gnome/Mutter/RemoteDesktop";
inline constexpr const char* remoteDesktopSession = "org.gnome.Mutter.RemoteDesktop.Session";
inline constexpr const char* screenCast = "org.gnome.Mutter.ScreenCast";
inline constexpr const char* screenCastPath = "/org/gnome/Mutter/ScreenCast";
inline constexpr const char* screenCastSession = "org.gnome.Mutter.ScreenCast.Session";
inline constexpr const char* screenCastStream = "org.gnome.Mutter.ScreenCast.Stream";
inline constexpr const char* displayConfig = "org.gnome.Mutter.DisplayConfig";
inline constexpr const char* displayConfigPath = "/org/gnome/Mutter/DisplayConfig";

}  // namespace tandemview::mutter
