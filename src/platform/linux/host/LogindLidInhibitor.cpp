#include "platform/linux/host/LogindLidInhibitor.h"

#include <fcntl.h>
#include <sdbus-c++/sdbus-c++.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/host/Logind.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

constexpr const char* lidSwitch = "handle-lid-switch";
constexpr const char* lockMode = "block";

/// What (a list with colons), who, why, mode, user ID, process ID.
using Inhibitor = sdbus::Struct<std::string, std::string, std::string, std::string, std::uint32_t, std::uint32_t>;

bool keepsLid(const Inhibitor& inhibitor) {
  return (":" + inhibitor.get<0>() + ":").find(std::string(":") + lidSwitch + ":") != std::string::npos &&
         inhibitor.get<3>() == lockMode;
}

bool isOurs(const Inhibitor& inhibitor) {
  return inhibitor.get<5>() == static_cast<std::uint32_t>(::getpid());
}

/// All that keep the lid from logind; none, with a line, if logind can't be asked.
std::vector<Inhibitor> lidInhibitors() {
  const BusConnection::Opened bus = BusConnection::open(BusConnection::Bus::System);
  std::vector<Inhibitor> inhibitors;
  if (!bus) {
    Log::print("⚠️ Could not read the lid's inhibitors: {}", bus.error().localizedDescription());
    return inhibitors;
  }
  try {
    sdbus::createProxy(**bus, logindName, logindPath)
        ->callMethod("ListInhibitors")
        .onInterface(logindInterface)
        .storeResultsTo(inhibitors);
  } catch (const sdbus::Error& error) {
    Log::print("⚠️ Could not read the lid's inhibitors: {}", error.getMessage());
  }
  std::erase_if(inhibitors, [](const Inhibitor& inhibitor) { return !keepsLid(inhibitor); });
  return inhibitors;
}

/// The power managers of KDE, XFCE, MATE, LXQt and Cinnamon keep the lid from logind, to act on it themselves. None
/// asks anybody when it closes; see docs/linux.md.
void tellOfOthers() {
  for (const Inhibitor& inhibitor : lidInhibitors()) {
    if (isOurs(inhibitor)) continue;
    Log::print(
        "⚠️ {} has the lid, too: if closing it still sends the computer to sleep, choose in the desktop's power "
        "settings "
        "that it does nothing",
        inhibitor.get<1>());
  }
}

}  // namespace

bool LogindLidInhibitor::isPrevented() {
  const std::lock_guard guard(mutex_);
  if (inherited_) {
    lock_ = takenLock();
    inherited_ = Descriptor();
  }
  return isListed();
}

void LogindLidInhibitor::setPrevented(bool prevented) {
  const std::lock_guard guard(mutex_);
  lock_ = prevented ? takenLock() : Descriptor();
  inherited_ = Descriptor();
  if (!prevented) return waitForRelease();
  if (lock_) tellOfOthers();
}

Descriptor LogindLidInhibitor::copyLock() const {
  const std::lock_guard guard(mutex_);
  return Descriptor(::fcntl((lock_ ? lock_ : inherited_).get(), F_DUPFD_CLOEXEC, 0));
}

bool LogindLidInhibitor::isListed() const {
  const std::vector<Inhibitor> inhibitors = lidInhibitors();
  return std::any_of(inhibitors.begin(), inhibitors.end(), isOurs);
}

/// A lock of this process's own; empty, with a line, if it is not granted.
Descriptor LogindLidInhibitor::takenLock() const {
  const BusConnection::Opened bus = BusConnection::open(BusConnection::Bus::System);
  if (!bus) {
    Log::print("❌ Failed to reach logind: {}", bus.error().localizedDescription());
    return Descriptor();
  }
  try {
    sdbus::UnixFd lock;
    sdbus::createProxy(**bus, logindName, logindPath)
        ->callMethod("Inhibit")
        .onInterface(logindInterface)
        .withArguments(lidSwitch, "Tandemview", "Controlled from the phone while the lid is closed", lockMode)
        .storeResultsTo(lock);
    return takeDescriptor(lock);
  } catch (const sdbus::Error& error) {
    Log::print("⚠️ The lid's inhibitor was not granted: {}", error.getMessage());
    return Descriptor();
  }
}

/// logind notices the closed lock in its own time, and whoever asked before that would still hear of it.
void LogindLidInhibitor::waitForRelease() const {
  constexpr int attempts = 100;
  for (int attempt = 0; attempt < attempts && isListed(); ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

}  // namespace tandemview
