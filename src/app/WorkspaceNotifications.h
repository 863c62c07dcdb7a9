#pragma once

namespace tandemview {

/// Posted by the host with the application system as the object, on the main queue: the machine is about to sleep;
/// the machine has woken up.
inline constexpr const char* workspaceWillSleepNotification = "NSWorkspaceWillSleepNotification";
inline constexpr const char* workspaceDidWakeNotification = "NSWorkspaceDidWakeNotification";

}  // namespace tandemview
