#include "platform/linux/host/SpawnedProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

extern char** environ;

namespace tandemview {

Result<ProcessIdentifier> spawnProcess(const std::string& tool, const std::vector<std::string>& arguments,
                                       const Descriptor& output, const Succession* succession) {
  std::vector<char*> argv = {const_cast<char*>(tool.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);

  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF);
  sigset_t brokenPipe;
  sigemptyset(&brokenPipe);
  sigaddset(&brokenPipe, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &brokenPipe);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  if (output) posix_spawn_file_actions_adddup2(&actions, output.get(), STDOUT_FILENO);

  std::vector<char*> variables;
  for (char** variable = environ; *variable; ++variable) variables.push_back(*variable);
  std::string announcement;
  if (succession) {
    // Onto itself: the child keeps it across the exec.
    for (const Descriptor* left : {&succession->predecessorEnd, &succession->lidLock}) {
      if (*left) posix_spawn_file_actions_adddup2(&actions, left->get(), left->get());
    }
    announcement = succession->announcement();
    variables.push_back(announcement.data());
  }
  variables.push_back(nullptr);

  pid_t child = 0;
  const int code = posix_spawn(&child, tool.c_str(), &actions, &attributes, argv.data(), variables.data());
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (code != 0) return tl::unexpected(posixError(code));
  return child;
}

}  // namespace tandemview
