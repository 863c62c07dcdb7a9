#pragma once

namespace tandemview {

/// Where logind is on the system bus.
inline constexpr const char* logindName = "org.freedesktop.login1";
inline constexpr const char* logindPath = "/org/freedesktop/login1";
inline constexpr const char* logindInterface = "org.freedesktop.login1.Manager";

}  // namespace tandemview
