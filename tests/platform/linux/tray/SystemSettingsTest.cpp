#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <future>

#include "end_to_end/Program.h"
#include "fakes/LogRecorder.h"
#include "fakes/ManualQueue.h"
#include "platform/linux/host/AutostartEntry.h"
#include "platform/linux/host/LinuxApplication.h"
#include "platform/linux/host/LogindLidInhibitor.h"
#include "platform/linux/host/ProcfsResources.h"
#include "platform/linux/x11/X11Permissions.h"
#include "support/LogindStandIn.h"
#include "support/PrivateBus.h"
#include "support/PrivateXServer.h"

namespace tandemview {
namespace {

TEST(LogindLidInhibitorTest, LogindKeepsTheLock) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root, for a /run of its own";
  if (!std::filesystem::exists("/lib/systemd/systemd-logind")) GTEST_SKIP() << "needs logind (package systemd)";
  PrivateBus bus;
  bus.start();
  ::setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().c_str(), 1);
  const auto logind = startRealLogind(bus.address());
  ASSERT_TRUE(logind);

  LogRecorder log;
  LogindLidInhibitor lid;
  // It is on the bus a little later than it says that it is there.
  ASSERT_TRUE(Program::within30Seconds([&] { return !lid.isPrevented() && log.take().empty(); }));
  for (int round = 0; round < 2; ++round) {
    lid.setPrevented(true);
    EXPECT_TRUE(lid.isPrevented());
    // What the program has started must not keep the lid.
    const Program child({"/bin/sleep", "60"}, {});
    lid.setPrevented(false);
    EXPECT_TRUE(Program::within30Seconds([&] { return !lid.isPrevented(); }));
  }
  EXPECT_EQ(log.take(), Lines());

  // A desktop that acts on the lid itself.
  Program manager({"/usr/bin/systemd-inhibit", "--what=sleep:handle-lid-switch", "--who=PowerDevil", "--mode=block",
                   "/bin/sleep", "60"},
                  {});
  ASSERT_TRUE(Program::within30Seconds([&] {
    lid.setPrevented(true);
    return log.count(
               "⚠️ PowerDevil has the lid, too: if closing it still sends the computer to sleep, choose in the "
               "desktop's power settings that it does nothing") == 1;
  }));
  manager.end(SIGTERM);
  log.take();

  // One that has hung costs a line and a few seconds.
  ::kill(logind->process(), SIGSTOP);
  const auto begin = std::chrono::steady_clock::now();
  lid.setPrevented(true);
  EXPECT_FALSE(lid.isPrevented());
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(8));
  EXPECT_EQ(log.take().size(), 2U);
}

TEST(AutostartEntryTest, DesktopStartsWhatTheEntrySays) {
  const TemporaryDirectory directory;
  const std::string program = directory.path() + "/the $HOME `program`";
  std::ofstream(program) << "#!/bin/sh\nprintf '%s\\n' \"$0\" \"$@\" >" << directory.path() << "/output.new; mv "
                         << directory.path() << "/output.new " << directory.path() << "/output\n";
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  const Lines command = {program, "", "100 %f", "a \"b\" 'c'", "\\back\\\\slash", "x;y & $z"};
  const std::string path = directory.path() + "/new/autostart/tandemview.desktop";
  AutostartEntry entry(path, command);
  EXPECT_TRUE(entry.unregisterApplication());
  ASSERT_TRUE(entry.registerApplication());
  EXPECT_TRUE(entry.registerApplication());

  // GLib's reading of the file, which GNOME and XFCE share.
  Program launcher({"/usr/bin/python3", "-c",
                    "import sys, gi.repository.Gio as Gio; "
                    "Gio.DesktopAppInfo.new_from_filename(sys.argv[1]).launch([], None)",
                    path},
                   {});
  ASSERT_EQ(launcher.wait(), 0) << launcher.output();
  ASSERT_TRUE(Program::within30Seconds([&] { return std::filesystem::exists(directory.path() + "/output"); }));
  std::ifstream output(directory.path() + "/output");
  Lines words;
  for (std::string word; std::getline(output, word);) words.push_back(word);
  EXPECT_EQ(words, command);

  EXPECT_TRUE(entry.unregisterApplication());
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_FALSE(AutostartEntry("/proc/nowhere/tandemview.desktop", command).registerApplication());
}

TEST(X11PermissionsTest, TellsWhatTheServerAllows) {
  const PrivateXServer server;
  X11Permissions permissions(nullptr, server.displayName());
  EXPECT_TRUE(permissions.isGranted(Permission::ScreenRecording));
  EXPECT_TRUE(permissions.isGranted(Permission::Accessibility));
  X11Permissions nowhere(nullptr, ":9999");
  EXPECT_FALSE(nowhere.isGranted(Permission::ScreenRecording));
  EXPECT_FALSE(nowhere.isGranted(Permission::Accessibility));

  auto other = X11Connection::open(server.displayName());
  xcb_grab_server(other->get());
  ASSERT_NE(other->atom("any"), XCB_ATOM_NONE);  // the server has done it
  auto answer = std::async([&] { return permissions.isGranted(Permission::ScreenRecording); });
  EXPECT_EQ(answer.wait_for(std::chrono::seconds(10)), std::future_status::ready) << "somebody grabs the server";
  other = nullptr;
  EXPECT_TRUE(answer.get());
}

TEST(X11PermissionsTest, OpensTheSettingsOfTheDesktop) {
  const TemporaryDirectory directory;
  const std::string path = ::getenv("PATH");
  ::setenv("PATH", directory.path().c_str(), 1);
  ::setenv("XDG_CURRENT_DESKTOP", "Own:XFCE", 1);
  X11Permissions permissions(std::make_shared<LinuxApplication>(LinuxApplication::Surroundings()));
  LogRecorder log;
  permissions.openSettings(Permission::ScreenRecording);
  EXPECT_EQ(log.take().size(), 1U);

  const std::string program = directory.path() + "/xfce4-settings-manager";
  std::ofstream(program) << "#!/bin/sh\necho $$ >" << directory.path() << "/opened; exec /bin/sleep 60\n";
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  permissions.openSettings(Permission::Accessibility);
  pid_t process = 0;
  ASSERT_TRUE(Program::within30Seconds([&] {
    std::ifstream(directory.path() + "/opened") >> process;
    return process > 0;
  }));
  EXPECT_EQ(::kill(process, SIGKILL), 0) << "waited for the program's end";
  EXPECT_EQ(log.take(), Lines());
  ::setenv("PATH", path.c_str(), 1);
}

TEST(ProcfsResourcesTest, CountsWhatTheProcessUses) {
  const auto queue = ManualQueue::make();
  ProcfsResources resources(std::make_shared<ManualClock>(queue));
  for (const std::clock_t end = std::clock() + CLOCKS_PER_SEC / 4; std::clock() < end;) {
  }
  queue->advance(1);
  const int busy = resources.processorUsage();
  EXPECT_NEAR(busy, 250, 50) << "of what it has run, however long it had to wait for that";
  queue->advance(0.05);
  EXPECT_EQ(resources.processorUsage(), busy) << "too soon to measure again";
  queue->advance(1);
  EXPECT_LT(resources.processorUsage(), 50);

  constexpr std::uint64_t size = 64 << 20;
  const std::uint64_t before = resources.memoryFootprint();
  const std::string memory(size, 'x');
  const std::uint64_t grown = resources.memoryFootprint() - before;
  EXPECT_GT(grown, size / 8 * 7) << memory.size();
  EXPECT_LT(grown, size * 8) << "sanitizers keep several bytes for each";
}

}  // namespace
}  // namespace tandemview
