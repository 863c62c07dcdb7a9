#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <map>
#include <thread>
#include <vector>

#include "support/TemporaryDirectory.h"

extern char** environ;

namespace tandemview {

/// One of the shipped binaries as a process, with what it prints. Ends with the object.
class Program {
 public:
  using Environment = std::map<std::string, std::string>;

  /// `environment` is added to the test's own.
  Program(const std::vector<std::string>& command, const Environment& environment) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable; ++variable) {
      const std::string text = *variable;
      if (!environment.contains(text.substr(0, text.find('=')))) variables.push_back(text);
    }
    for (const auto& [name, value] : environment) variables.push_back(name + "=" + value);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outputPath().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    posix_spawn(&process_, command.front().c_str(), &actions, nullptr, pointers(command).data(),
                pointers(variables).data());
    posix_spawn_file_actions_destroy(&actions);
  }
  ~Program() {
    if (process_ > 0) end(SIGKILL);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  pid_t process() const { return process_; }
  bool isRunning() const {
    siginfo_t ended{};
    ::waitid(P_PID, static_cast<id_t>(process_), &ended, WEXITED | WNOHANG | WNOWAIT);
    return ended.si_pid == 0;
  }

  std::string output() const {
    std::ifstream file(outputPath());
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  /// How often the text has been printed.
  int count(const std::string& text) const {
    const std::string all = output();
    int result = 0;
    for (std::size_t at = all.find(text); at != std::string::npos; at = all.find(text, at + 1)) ++result;
    return result;
  }
  /// Whether the text is printed `times` times within 30 seconds.
  bool prints(const std::string& text, int times = 1) const {
    return within30Seconds([&] { return count(text) >= times; });
  }

  /// The exit status once it has ended by itself; -1 if it has not within 60 seconds.
  int wait() {
    int status = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (::waitpid(process_, &status, WNOHANG) == 0) {
      if (std::chrono::steady_clock::now() > deadline) return -1;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    process_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  int end(int signal) {
    ::kill(process_, signal);
    return wait();
  }

  template <typename Condition>
  static bool within30Seconds(Condition condition) {
    return within(std::chrono::seconds(30), condition);
  }

  template <typename Condition>
  static bool within(std::chrono::seconds time, Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
  }

 private:
  std::string outputPath() const { return directory_.path() + "/output"; }

  static std::vector<char*> pointers(const std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (const std::string& text : texts) result.push_back(const_cast<char*>(text.c_str()));
    result.push_back(nullptr);
    return result;
  }

  TemporaryDirectory directory_;
  pid_t process_ = 0;
};

}  // namespace tandemview
