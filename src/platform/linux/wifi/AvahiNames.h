#pragma once

#include <cstdint>

/// The names and numbers of the Avahi daemon's D-Bus interface, as /usr/share/dbus-1/interfaces/org.freedesktop.Avahi.*
/// and the daemon's headers list them.
namespace tandemview::AvahiNames {

inline constexpr const char* service = "org.freedesktop.Avahi";

inline constexpr const char* serverPath = "/";
inline constexpr const char* serverInterface = "org.freedesktop.Avahi.Server";
inline constexpr const char* serviceBrowser = "org.freedesktop.Avahi.ServiceBrowser";
inline constexpr const char* serviceResolver = "org.freedesktop.Avahi.ServiceResolver";
inline constexpr const char* recordBrowser = "org.freedesktop.Avahi.RecordBrowser";
inline constexpr const char* entryGroup = "org.freedesktop.Avahi.EntryGroup";

inline constexpr std::int32_t anyInterface = -1;

inline constexpr std::int32_t anyProtocol = -1;
inline constexpr std::int32_t ipv4 = 0;
inline constexpr std::int32_t ipv6 = 1;

/// Of a look-up: flags.
inline constexpr std::uint32_t byMulticast = 2;  // never by ordinary DNS, which knows no link
inline constexpr std::uint32_t withoutText = 4;

inline constexpr std::uint16_t internetClass = 1;
inline constexpr std::uint16_t serviceRecord = 33;  // SRV

inline constexpr std::int32_t serverIsRunning = 2;

/// The states of a group of entries.
inline constexpr std::int32_t groupIsEstablished = 2;
inline constexpr std::int32_t groupCollides = 3;
inline constexpr std::int32_t groupHasFailed = 4;

/// The error of an entry whose name another group of the same daemon has.
inline constexpr const char* collisionError = "org.freedesktop.Avahi.CollisionError";

}  // namespace tandemview::AvahiNames
