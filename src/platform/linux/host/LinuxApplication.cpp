#include "platform/linux/host/LinuxApplication.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "platform/linux/host/SpawnedProcess.h"
#include "runtime/AtomicFile.h"
#include "runtime/Descriptor.h"

namespace tandemview {

namespace {

/// `text` as one word of a shell command.
std::string quotedForShell(const std::string& text) {
  std::string quoted = "'";
  for (const char character : text) {
    if (character == '\'') {
      quoted += "'\\''";
    } else {
      quoted += character;
    }
  }
  quoted += '\'';
  return quoted;
}

/// What a tool says, as far as anyone will read it; the rest is read and dropped, so that the tool can end.
std::string readToTheEnd(const Descriptor& pipe) {
  constexpr std::size_t longestOutput = 1 << 20;
  std::string output;
  char buffer[4096];
  while (true) {
    const ssize_t count = ::read(pipe.get(), buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return output;
    output.append(buffer, std::min(static_cast<std::size_t>(count), longestOutput - output.size()));
  }
}

}  // namespace

std::string executablePath() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).string();
}

LinuxApplication::LinuxApplication(Surroundings surroundings) : surroundings_(std::move(surroundings)) {}

bool LinuxApplication::hasEnvironmentVariable(const std::string& name) const {
  return std::getenv(name.c_str()) != nullptr;
}

ProcessIdentifier LinuxApplication::processIdentifier() const {
  return ::getpid();
}

std::vector<ProcessIdentifier> LinuxApplication::runningCopies() {
  return surroundings_.singleInstance->runningCopies();
}

void LinuxApplication::activate(ProcessIdentifier copy) {
  if (!surroundings_.singleInstance->activate(copy)) exitStatus_ = EXIT_FAILURE;
}

std::string LinuxApplication::bundlePath() const {
  return surroundings_.executablePath;
}

std::string LinuxApplication::relaunchCommand() const {
  std::string command = "exec " + quotedForShell(bundlePath());
  for (const std::string& argument : surroundings_.arguments) {
    command += ' ';
    command += quotedForShell(argument);
  }
  return command;
}

void LinuxApplication::openApplication(const std::string& bundlePath,
                                       std::function<void(std::optional<Error>)> completion) {
  const auto started = start(bundlePath, surroundings_.arguments);
  completion(started ? std::nullopt : std::optional(started.error()));
}

std::optional<Error> LinuxApplication::writeFile(const std::string& path, const std::string& text) {
  return writeFileAtomically(path, text);
}

Result<ToolOutcome> LinuxApplication::run(const std::string& tool, const std::vector<std::string>& arguments) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return tl::unexpected(posixError(errno));
  const Descriptor readEnd(ends[0]);
  Descriptor writeEnd(ends[1]);
  const auto child = spawnProcess(tool, arguments, writeEnd);
  if (!child) return tl::unexpected(child.error());
  writeEnd = Descriptor();

  ToolOutcome outcome = {.exitStatus = 0, .output = readToTheEnd(readEnd)};
  int status = 0;
  while (::waitpid(*child, &status, 0) < 0) {
    if (errno != EINTR) return tl::unexpected(posixError(errno));
  }
  outcome.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return outcome;
}

Result<ProcessIdentifier> LinuxApplication::start(const std::string& tool, const std::vector<std::string>& arguments) {
  // What is started may well find out when this process has ended and nobody can be told any more.
  if (::access(surroundings_.executablePath.c_str(), X_OK) != 0) return tl::unexpected(posixError(errno));
  const Succession succession = Succession::ofThisProcess(surroundings_.copyLidLock());
  return spawnProcess(tool, arguments, Descriptor(), &succession);
}

void LinuxApplication::terminate() {
  surroundings_.terminate();
}

}  // namespace tandemview
