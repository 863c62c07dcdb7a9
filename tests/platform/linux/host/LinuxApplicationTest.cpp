#include "platform/linux/host/LinuxApplication.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include "end_to_end/Program.h"
#include "platform/linux/host/Succession.h"

namespace tandemview {
namespace {

TEST(LinuxApplicationTest, RunsToolsAndTellsHowTheyEnded) {
  LinuxApplication application({});
  const auto outcome = application.run("/bin/sh", {"-c", "echo said; echo unheard >&2; exit 7"});
  ASSERT_TRUE(outcome);
  EXPECT_EQ(outcome->exitStatus, 7);
  EXPECT_EQ(outcome->output, "said\n");
  EXPECT_EQ(application.run("/bin/sh", {"-c", "kill -9 $$"})->exitStatus, 128 + 9);
  EXPECT_FALSE(application.run("/nowhere/tool", {}));
  EXPECT_FALSE(application.start("/nowhere/tool", {}));
  LinuxApplication removed({.executablePath = "/nowhere/tandemview"});
  EXPECT_FALSE(removed.start("/bin/sh", {"-c", "true"})) << "nothing would start it anew";
}

TEST(LinuxApplicationTest, TheRelaunchCommandSurvivesTheShell) {
  const std::vector<std::string> arguments = {"--usbmuxd-socket", "/tmp/it's $HOME \"here\"; `date`"};
  const LinuxApplication application({.executablePath = executablePath(), .arguments = arguments});
  std::string command = application.relaunchCommand();
  const std::string program = "exec '" + application.bundlePath() + "'";
  ASSERT_TRUE(command.starts_with(program));
  // The same words, handed to a program that prints them.
  command = "printf '%s\\n'" + command.substr(program.size());
  LinuxApplication shell({});
  const auto outcome = shell.run("/bin/bash", {"-c", command});
  ASSERT_TRUE(outcome);
  EXPECT_EQ(outcome->output, arguments[0] + "\n" + arguments[1] + "\n");
}

TEST(SuccessionTest, TellsWhenThePredecessorHasEnded) {
  const Program predecessor({"/bin/sleep", "60"}, {});
  const int end = static_cast<int>(::syscall(SYS_pidfd_open, predecessor.process(), 0));
  const int lock = ::open("/dev/null", O_RDONLY);
  ASSERT_EQ(::fcntl(lock, F_GETFD), 0);
  ::setenv("TANDEMVIEW_SUCCESSION", fmt::format("{}:{}:{}", predecessor.process(), end, lock).c_str(), 1);
  const Succession succession = Succession::take();
  EXPECT_EQ(::getenv("TANDEMVIEW_SUCCESSION"), nullptr);
  EXPECT_EQ(succession.predecessor, predecessor.process());
  EXPECT_EQ(succession.lidLock.get(), lock);
  EXPECT_EQ(::fcntl(lock, F_GETFD), FD_CLOEXEC) << "this process's own children are left nothing";
  EXPECT_FALSE(succession.waitForPredecessor(0));
  ::kill(predecessor.process(), SIGKILL);
  EXPECT_TRUE(succession.waitForPredecessor(30));

  for (const char* announced : {"", "nonsense", "1:1:1", "1:-1:-1", "1:9999:9999"}) {
    ::setenv("TANDEMVIEW_SUCCESSION", announced, 1);
    const Succession nothing = Succession::take();
    EXPECT_FALSE(nothing.predecessorEnd || nothing.lidLock) << announced;
    EXPECT_TRUE(nothing.waitForPredecessor(30));
  }
}

}  // namespace
}  // namespace tandemview
