#include "platform/linux/host/SingleInstance.h"

#include <fcntl.h>
#include <sdbus-c++/sdbus-c++.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>

#include "runtime/Log.h"

namespace tandemview {

namespace {

constexpr const char* busName = "org.tandemview.Tandemview";

/// How the Desktop Entry documents derive the path from the name, and what they call there.
constexpr const char* applicationPath = "/org/tandemview/Tandemview";
constexpr const char* applicationInterface = "org.freedesktop.Application";
using PlatformData = std::map<std::string, sdbus::Variant>;

/// How long, and how often, the bus is given to notice that the copy which we replace has ended.
constexpr auto noticePause = std::chrono::milliseconds(10);
constexpr int noticePauses = 200;

/// How often an owner may vanish between our asking for its name and our asking for its process.
constexpr int attempts = 3;

ProcessIdentifier ownerOfName(sdbus::IConnection& bus) {
  std::uint32_t process = 0;
  sdbus::createProxy(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus")
      ->callMethod("GetConnectionUnixProcessID")
      .onInterface("org.freedesktop.DBus")
      .withArguments(std::string(busName))
      .storeResultsTo(process);
  return static_cast<ProcessIdentifier>(process);
}

/// The number in the lock file; 0 if there is none yet.
ProcessIdentifier ownerOfLock(int lock) {
  std::array<char, 16> text;
  const ssize_t count = ::pread(lock, text.data(), text.size(), 0);
  ProcessIdentifier process = 0;
  if (count > 0) std::from_chars(text.data(), text.data() + count, process);
  return process;
}

}  // namespace

SingleInstance::SingleInstance(std::shared_ptr<Queue> queue, ProcessIdentifier predecessor,
                               std::function<void()> onActivated)
    : queue_(std::move(queue)), predecessor_(predecessor), onActivated_(std::move(onActivated)) {}

SingleInstance::~SingleInstance() = default;

std::vector<ProcessIdentifier> SingleInstance::runningCopies() {
  const ProcessIdentifier self = ::getpid();
  if (isFirst_) return {self};
  Outcome outcome = takeNameAndLock();
  const auto isPredecessor = [&] { return outcome == Outcome::Theirs && predecessor_ != 0 && first_ == predecessor_; };
  for (int pause = 0; isPredecessor() && pause < noticePauses; ++pause) {
    std::this_thread::sleep_for(noticePause);
    outcome = takeNameAndLock();
  }
  if (outcome == Outcome::Theirs) return {first_, self};
  isFirst_ = true;
  if (outcome == Outcome::Impossible) {
    Log::line("⚠️ No session bus and no runtime directory: other copies of the program are not noticed");
  }
  return {self};
}

SingleInstance::Outcome SingleInstance::takeNameAndLock() {
  const Outcome name = takeName();
  if (name == Outcome::Theirs) return name;
  const Outcome lock = takeLock();
  if (lock == Outcome::Theirs) leaveBus();
  return lock == Outcome::Impossible ? name : lock;
}

SingleInstance::Outcome SingleInstance::takeName() {
  if (!connection_ && !joinBus()) return Outcome::Impossible;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    try {
      connection_->bus().requestName(busName);
      connection_->update();
      return Outcome::Ours;
    } catch (const sdbus::Error&) {
      // Most likely it has an owner; the next question tells.
    }
    try {
      first_ = ownerOfName(connection_->bus());
      return Outcome::Theirs;
    } catch (const sdbus::Error& error) {
      if (error.getName() != "org.freedesktop.DBus.Error.NameHasNoOwner") break;
    }
  }
  leaveBus();
  return Outcome::Impossible;
}

bool SingleInstance::joinBus() {
  const BusConnection::Opened opened = BusConnection::open(BusConnection::Bus::Session);
  if (!opened) return false;
  connection_ = BusConnection::serving(*opened, queue_, [this] {
    leaveBus();
    if (!lock_) Log::line("⚠️ The session bus is gone: other copies of the program are no longer noticed");
  });
  application_ = sdbus::createObject(connection_->bus(), applicationPath);
  application_->registerMethod("Activate").onInterface(applicationInterface).implementedAs([this](const PlatformData&) {
    onActivated_();
  });
  application_->finishRegistration();
  return true;
}

SingleInstance::Outcome SingleInstance::takeLock() {
  const char* runtimeDirectory = std::getenv("XDG_RUNTIME_DIR");
  if (!runtimeDirectory || *runtimeDirectory == '\0') return Outcome::Impossible;
  const std::string path = std::string(runtimeDirectory) + "/tandemview.lock";
  // Closed in child processes: the script that starts the program anew must not keep the lock.
  Descriptor lock(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!lock) return Outcome::Impossible;
  if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) return Outcome::Impossible;
    first_ = ownerOfLock(lock.get());
    return Outcome::Theirs;
  }
  const std::string process = std::to_string(::getpid()) + "\n";
  if (::ftruncate(lock.get(), 0) == 0) (void)!::pwrite(lock.get(), process.data(), process.size(), 0);
  lock_ = std::move(lock);
  return Outcome::Ours;
}

bool SingleInstance::activate(ProcessIdentifier copy) {
  try {
    if (connection_) {
      sdbus::createProxy(connection_->bus(), busName, applicationPath)
          ->callMethod("Activate")
          .onInterface(applicationInterface)
          .withArguments(PlatformData())
          .storeResultsTo();
      connection_->update();
    }
    Log::print("👋 Tandemview is already running (process {}): this start ends", copy);
    return true;
  } catch (const sdbus::Error& error) {
    Log::print("❌ Process {} has the name {} on the session bus and does not answer to it: this start ends ({})", copy,
               busName, error.getMessage());
    return false;
  }
}

/// Gives up the name, if it is ours.
void SingleInstance::leaveBus() {
  application_.reset();
  connection_.reset();
}

}  // namespace tandemview
