#include "platform/linux/LinuxApplication.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "support/TemporaryDirectory.h"

namespace tandemview {
namespace {

std::string contentOf(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST(LinuxApplicationTest, AFileIsReplacedAndALinkIsNotFollowed) {
  const TemporaryDirectory directory;
  LinuxApplication application({}, nullptr, nullptr);
  const std::string victim = directory.path() + "/victim";
  const std::string script = directory.path() + "/script.sh";
  std::ofstream(victim) << "precious";
  std::filesystem::create_symlink(victim, script);
  EXPECT_FALSE(application.writeFile(script, "#!/bin/bash\ntrue"));
  EXPECT_EQ(contentOf(victim), "precious");
  EXPECT_EQ(contentOf(script), "#!/bin/bash\ntrue");
  EXPECT_FALSE(std::filesystem::is_symlink(script));
  EXPECT_TRUE(application.writeFile("/proc/nowhere/script.sh", ""));
}

TEST(LinuxApplicationTest, RunsToolsAndTellsHowTheyEnded) {
  LinuxApplication application({}, nullptr, nullptr);
  const auto outcome = application.run("/bin/sh", {"-c", "echo said; echo unheard >&2; exit 7"});
  ASSERT_TRUE(outcome);
  EXPECT_EQ(outcome->exitStatus, 7);
  EXPECT_EQ(outcome->output, "said\n");
  EXPECT_EQ(application.run("/bin/sh", {"-c", "kill -9 $$"})->exitStatus, 128 + 9);
  EXPECT_FALSE(application.run("/nowhere/tool", {}));
  EXPECT_FALSE(application.start("/nowhere/tool", {}));
}

TEST(LinuxApplicationTest, TheRelaunchCommandSurvivesTheShell) {
  const std::vector<std::string> arguments = {"--usbmuxd-socket", "/tmp/it's $HOME \"here\"; `date`"};
  const LinuxApplication application(arguments, nullptr, nullptr);
  std::string command = application.relaunchCommand();
  const std::string program = "exec '" + application.bundlePath() + "'";
  ASSERT_TRUE(command.starts_with(program));
  // The same words, handed to a program that prints them.
  command = "printf '%s\\n'" + command.substr(program.size());
  LinuxApplication shell({}, nullptr, nullptr);
  const auto outcome = shell.run("/bin/bash", {"-c", command});
  ASSERT_TRUE(outcome);
  EXPECT_EQ(outcome->output, arguments[0] + "\n" + arguments[1] + "\n");
}

}  // namespace
}  // namespace tandemview
