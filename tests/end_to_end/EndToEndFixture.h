#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "end_to_end/Program.h"
#include "support/PrivateXServer.h"
#include "support/X11TestClient.h"

namespace tandemview {

using Options = std::vector<std::string>;

/// The shipped binaries on a private X server.
class EndToEndFixture : public testing::Test {
 protected:
  ~EndToEndFixture() override {
    std::error_code ignored;
    for (const pid_t process : started) std::filesystem::remove_all(relaunchScript(process), ignored);
  }
  void startProgram() {
    program.emplace(Options{programPath, "--usbmuxd-socket", directory.path() + "/usbmuxd"}, environment);
    started.push_back(program->process());
  }
  /// What a process that relaunches itself leaves to the system to clean up.
  static std::string relaunchScript(pid_t process) {
    return "/tmp/tandemview_relaunch_" + std::to_string(process) + ".sh";
  }
  /// On the cable.
  void startPhone(const Options& options) {
    Options command = {TANDEMVIEW_COMPANION, "--mux",  directory.path() + "/usbmuxd", "--json",
                       summaryPath(),        "--save", directory.path() + "/frames"};
    command.insert(command.end(), options.begin(), options.end());
    phone.emplace(command, environment);
  }
  /// It ends in good order and leaves the desktop as it found it.
  void endProgram(int signal = SIGTERM) {
    EXPECT_EQ(program->end(signal), 0) << program->output();
    EXPECT_EQ(desktop.arrangement(), untouched);
  }
  /// The process, other than `except`, that runs the program at `programPath`; 0 if there is none.
  pid_t programProcess(pid_t except = 0) const {
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
      const pid_t process = std::atoi(entry.path().filename().c_str());
      std::error_code error;
      if (process > 0 && process != except &&
          std::filesystem::read_symlink(entry.path() / "exe", error) == programPath) {
        return process;
      }
    }
    return 0;
  }
  /// From now on a program of this test's own, which no other test runs.
  void copyProgram() {
    programPath = directory.path() + "/tandemview";
    std::filesystem::copy(TANDEMVIEW_PROGRAM, programPath);
  }
  std::string script(const std::string& text) {
    std::ofstream(directory.path() + "/script") << text;
    return directory.path() + "/script";
  }
  /// The first line of an arrangement that describes the output: what it shows, if it is lit.
  static std::string screen(const std::string& output, const std::string& arrangement) {
    const std::size_t start = arrangement.find(output + ": ");
    return arrangement.substr(start, arrangement.find('\n', start) - start);
  }
  std::string summaryPath() const { return directory.path() + "/summary.json"; }
  nlohmann::json summary() const { return nlohmann::json::parse(std::ifstream(summaryPath())); }

  TemporaryDirectory directory;
  PrivateXServer server;
  X11TestClient desktop{server.displayName()};
  const std::string untouched = desktop.arrangement();
  // Neither the user's settings nor the session and the network that the tests run in.
  Program::Environment environment = {{"DISPLAY", server.displayName()},
                                      {"XDG_CONFIG_HOME", directory.path()},
                                      {"XDG_RUNTIME_DIR", directory.path()},
                                      {"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + directory.path() + "/bus"},
                                      {"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + directory.path() + "/bus"}};
  std::string programPath = TANDEMVIEW_PROGRAM;
  std::vector<pid_t> started;
  std::optional<Program> program;
  std::optional<Program> phone;
};

}  // namespace tandemview
