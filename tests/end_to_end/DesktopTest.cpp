// The shipped binaries in a session with message buses: the menu, sleep and wake, what else happens on a desktop.

#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>
#include <filesystem>

#include "end_to_end/EndToEndFixture.h"
#include "support/LogindStandIn.h"
#include "support/PrivateBus.h"
#include "support/Tray.h"

namespace tandemview {
namespace {

/// The program's menu as a tray shows it.
class MenuOnTheBus {
 public:
  explicit MenuOnTheBus(const std::string& address) : tray_(std::make_unique<ServedConnection>(address)) {}

  /// The lines' numbers by their labels, submenus included; empty while there is no menu.
  std::map<std::string, std::int32_t> lines() {
    std::map<std::string, std::int32_t> found;
    if (tray_.registrations() == 0) return found;
    std::uint32_t revision = 0;
    Layout root;
    tray_.menu()
        ->callMethod("GetLayout")
        .onInterface("com.canonical.dbusmenu")
        .withArguments(0, -1, std::vector<std::string>{"label"})
        .storeResultsTo(revision, root);
    collect(root, found);
    return found;
  }

  /// Chooses the line that is there, or will be within 30 seconds.
  bool choose(const std::string& label) {
    return Program::within30Seconds([&] {
      const auto all = lines();
      const auto line = all.find(label);
      if (line == all.end()) return false;
      send(*tray_.menu(), line->second, "clicked");
      return true;
    });
  }

 private:
  using Layout = sdbus::Struct<std::int32_t, std::map<std::string, sdbus::Variant>, std::vector<sdbus::Variant>>;

  static void collect(const Layout& layout, std::map<std::string, std::int32_t>& found) {
    const auto label = layout.get<1>().find("label");
    if (label != layout.get<1>().end()) found[label->second.get<std::string>()] = layout.get<0>();
    for (const sdbus::Variant& child : layout.get<2>()) collect(child.get<Layout>(), found);
  }

  Tray tray_;
};

class DesktopTest : public EndToEndFixture {
 protected:
  DesktopTest() {
    bus.start();
    environment["DBUS_SESSION_BUS_ADDRESS"] = bus.address();
    environment["DBUS_SYSTEM_BUS_ADDRESS"] = bus.address();
  }

  PrivateBus bus;
};

TEST_F(DesktopTest, TheMenusEntriesDoWhatTheySay) {
  environment["PATH"] = directory.path();  // no program for dialogs or settings
  startProgram();
  startPhone({"--seconds", "60"});
  ASSERT_TRUE(phone->prints("frames of 644x1398 arrive")) << program->output();
  MenuOnTheBus menu(bus.address());

  ASSERT_TRUE(menu.choose("Full Resolution — Smallest Text"));
  EXPECT_TRUE(phone->prints("a frame of 1290x2796")) << program->output();  // which this phone did not ask for
  ASSERT_TRUE(menu.choose("Balanced (Recommended)"));
  EXPECT_TRUE(program->prints("Capturing: 644x1398 → 644x1398", 2)) << program->output();
  EXPECT_EQ(program->count("restarting app"), 0);

  const std::string autostart = directory.path() + "/autostart/tandemview.desktop";
  for (const bool exists : {true, false}) {
    ASSERT_TRUE(menu.choose("Launch at Login"));
    EXPECT_TRUE(Program::within30Seconds([&] { return std::filesystem::exists(autostart) == exists; }));
  }
  for (const auto& [entry, line] : std::map<std::string, std::string>{
           {"Keep Awake When Lid Is Closed", "⚠️ Keep Computer Awake with Lid Closed?"},
           {"Fix Permissions After Update…", "💡 Permissions not working after an update?"},
           {"Sharp — Best Image", "🎚️ Quality changed to sharp"},
           {"Accessibility — Enabled", "⚠️ No settings program of this desktop was found"}}) {
    ASSERT_TRUE(menu.choose(entry)) << entry;
    EXPECT_TRUE(program->prints(line)) << program->output();
  }
  ASSERT_TRUE(menu.choose("Reconnect"));
  EXPECT_TRUE(program->prints("🔄 Manual reconnect triggered..."));
  EXPECT_TRUE(menu.lines().contains("Connected · USB"));
  ASSERT_TRUE(menu.choose("Quit Tandemview"));
  EXPECT_EQ(program->wait(), 0) << program->output();
  EXPECT_EQ(desktop.arrangement(), untouched);
}

TEST_F(DesktopTest, ASecondStartEndsAndSaysWhy) {
  const auto runsIntoIt = [this](const std::string& sessionBus, const std::string& line) {
    environment["DBUS_SESSION_BUS_ADDRESS"] = sessionBus;
    Program later({programPath, "--usbmuxd-socket", directory.path() + "/usbmuxd"}, environment);
    EXPECT_EQ(later.wait(), 0) << later.output();
    EXPECT_GE(later.count(line), 1) << later.output();
  };
  startProgram();
  ASSERT_TRUE(program->prints("💡 Connect your iPhone"));
  const std::string running = "👋 Tandemview is already running (process " + std::to_string(program->process()) + ")";
  runsIntoIt(bus.address(), running);
  EXPECT_TRUE(program->prints("👋 Tandemview is already running: a second start has ended"));
  runsIntoIt("unix:path=/nowhere", running);
}

/// The processes whose locks keep the lid.
std::vector<pid_t> lidHolders(sdbus::IProxy& logind) {
  std::vector<LogindStandIn::Inhibitor> inhibitors;
  logind.callMethod("ListInhibitors").onInterface("org.freedesktop.login1.Manager").storeResultsTo(inhibitors);
  std::vector<pid_t> holders;
  for (const auto& inhibitor : inhibitors) {
    if (inhibitor.get<0>() == "handle-lid-switch") holders.push_back(static_cast<pid_t>(inhibitor.get<5>()));
  }
  return holders;
}

TEST_F(DesktopTest, TheLidIsKeptAsItsEntrySays) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root, for a /run of logind's own";
  const auto logind = startRealLogind(bus.address());
  ASSERT_TRUE(logind);
  // A user who answers every dialog with its first button.
  environment["PATH"] = directory.path();
  std::ofstream(directory.path() + "/zenity") << "#!/bin/sh\n";
  std::filesystem::permissions(directory.path() + "/zenity", std::filesystem::perms::owner_all);
  const auto connection = sdbus::createSessionBusConnectionWithAddress(bus.address());
  const auto manager = sdbus::createProxy(*connection, "org.freedesktop.login1", "/org/freedesktop/login1");
  copyProgram();
  startProgram();
  const pid_t first = program->process();
  MenuOnTheBus menu(bus.address());
  ASSERT_TRUE(menu.choose("Keep Awake When Lid Is Closed"));
  EXPECT_TRUE(program->prints("🔋 Lid-closed sleep DISABLED")) << program->output();
  ASSERT_TRUE(menu.choose("Keep Awake When Lid Is Closed"));
  EXPECT_TRUE(program->prints("😴 Lid-closed sleep restored to normal")) << program->output();
  EXPECT_EQ(lidHolders(*manager), std::vector<pid_t>());

  // The program restarts itself in mid-session: a lid that is closed is not noticed for a moment.
  ASSERT_TRUE(menu.choose("Keep Awake When Lid Is Closed"));
  EXPECT_TRUE(program->prints("🔋 Lid-closed sleep DISABLED", 2)) << program->output();
  startPhone({"--script", script("0 frame 60\n3 size 6000x2000\n")});
  std::vector<pid_t> holders;
  EXPECT_TRUE(Program::within30Seconds([&] {
    holders = lidHolders(*manager);
    return std::ranges::find(holders, first) == holders.end();
  })) << program->output();
  EXPECT_EQ(holders, std::vector<pid_t>{programProcess(first)});
  EXPECT_EQ(program->wait(), 0);

  // Its end is the end of it.
  ::kill(programProcess(), SIGTERM);
  EXPECT_TRUE(Program::within30Seconds([&] { return lidHolders(*manager).empty(); }));
}

TEST_F(DesktopTest, TheStreamEndsWithTheDayAndComesBackWithTheNext) {
  LogindStandIn logind(bus.address());
  startProgram();
  startPhone({"--seconds", "60"});
  ASSERT_TRUE(program->prints("✅ Capture started")) << program->output();
  ASSERT_TRUE(Program::within30Seconds([&] { return logind.inhibitorCount() == 1; }));
  for (const int night : {1, 2}) {
    logind.announceSleep();
    ASSERT_TRUE(program->prints("😴 Mac going to sleep - stopping capture...", night));
    logind.announceWake();
    EXPECT_TRUE(program->prints("✅ Capture started", night + 1)) << program->output();
  }
  endProgram();
}

TEST_F(DesktopTest, TheDisplayComesBackWhereTheUserPutIt) {
  startPhone({"--seconds", "120"});
  startProgram();
  ASSERT_TRUE(program->prints("✅ Virtual display configured")) << program->output();
  desktop.xrandr("--output DUMMY1 --left-of DUMMY0");
  const std::string arranged = desktop.arrangement();
  endProgram();

  startProgram();
  ASSERT_TRUE(program->prints("✅ Capture started")) << program->output();
  EXPECT_EQ(screen("DUMMY0", desktop.arrangement()), screen("DUMMY0", arranged));
  EXPECT_TRUE(screen("DUMMY1", desktop.arrangement()).starts_with("DUMMY1: 644x1398+0+0")) << desktop.arrangement();
  EXPECT_EQ(program->count("overlapped"), 0);
  endProgram();
}

}  // namespace
}  // namespace tandemview
