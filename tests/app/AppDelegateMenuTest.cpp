
#include "app/AppDelegateFixture.h"

namespace tandemview {
namespace {

class AppDelegateMenuTest : public AppDelegateFixture {
 protected:
  /// How often the line "tool arguments" was run.
  long runs(const std::string& call) const {
    return std::count(application->calls.begin(), application->calls.end(), "run " + call);
  }
  const MenuItem& firstLine() const { return *menu->item.menu.at(0); }
};

TEST_F(AppDelegateMenuTest, HasTheseLinesInThisOrder) {
  defaults->setString("displayQualityMode", "sharp");
  defaults->setBoolean("launchAtLogin", true);
  launch();
  EXPECT_EQ(menu->titles(menu->item.menu),
            (Lines{"Waiting for iPhone…", "", "", "Connection", "Pairing Code: 47", "Display Quality", "Reconnect",
                   "Permissions", "Grant Screen Recording…", "Grant Accessibility…", "Fix Permissions After Update…",
                   "General", "Advanced", "Launch at Login", "", "Quit Tandemview"}));
  EXPECT_EQ(
      menu->titles(menu->line("Display Quality").submenu),
      (Lines{"Smooth — Fastest", "Balanced (Recommended)", "Sharp — Best Image", "Full Resolution — Smallest Text"}));
  Lines withoutMenus;  // what hosts without any offer
  for (const auto& item : menu->item.menu) {
    if (!item->shortTitle.empty()) withoutMenus.push_back(item->shortTitle);
  }
  EXPECT_EQ(withoutMenus, (Lines{"Quality…", "Quit"}));
  Lines checked;
  for (const auto& item : menu->line("Display Quality").submenu) {
    if (item->isChecked) checked.push_back(item->representedObject);
  }
  EXPECT_EQ(checked, Lines{"sharp"});
  EXPECT_EQ(menu->titles(menu->line("Advanced").submenu), Lines{"Keep Awake When Lid Is Closed"});
  EXPECT_TRUE(menu->line("Launch at Login").isChecked);
  EXPECT_EQ(menu->item.symbol, "laptopcomputer.and.iphone");
  EXPECT_TRUE(menu->isAccessory);
  menu->choose("Quit Tandemview");
  EXPECT_EQ(application->calls.back(), "terminate");
}

TEST_F(AppDelegateMenuTest, TellsWhoIsConnectedAndHowFastPicturesMove) {
  queue->advance(100);
  stream();
  EXPECT_EQ(menu->title(), "● Tandemview");
  EXPECT_EQ(menu->item.title.front(), (StyledText{"● ", 9, TextColor::Green}));
  EXPECT_EQ(menu->item.toolTip, "Tandemview — iPhone connected");
  EXPECT_EQ(firstLine().title, "Connected · USB");
  const MenuItem& statistics = *menu->item.menu.at(1);
  deliverFrame();
  EXPECT_EQ(statistics.title, "") << "so much has passed since the start of the program";
  deliverFrames(31, 0.05);
  EXPECT_EQ(statistics.title, "20 FPS  •  50.0 ms");
  EXPECT_FALSE(statistics.isHidden);
  for (const double rest : {10.0, 86400.0}) {
    queue->advance(rest);
    deliverFrame();
    EXPECT_EQ(statistics.title, "20 FPS  •  50.0 ms");
  }
  queue->advance(8);
  deliverFrame();
  EXPECT_EQ(statistics.title, "0 FPS  •  7900.0 ms") << "since the picture at rest";

  connectWiFi();
  EXPECT_EQ(firstLine().title, "Connected · WiFi");
  EXPECT_EQ(firstLine().symbol, (MenuSymbol{"circle.fill", 11}));
  loseWiFi();
  EXPECT_EQ(firstLine().title, "Connected · USB") << "also while no frame comes";
  deliverFrames(2, 1);
  unplug();
  EXPECT_EQ(firstLine().title, "Waiting for iPhone…");
  EXPECT_EQ(menu->title(), "● Tandemview 47");
  EXPECT_EQ(menu->item.title.front().color, TextColor::SecondaryLabel);
  EXPECT_EQ(menu->item.toolTip, "Tandemview — enter code 47 on your iPhone to connect via WiFi");
  EXPECT_TRUE(statistics.isHidden);
  EXPECT_EQ(statistics.title, "");
}

TEST_F(AppDelegateMenuTest, LooksAtItsResourcesOnlyWhileOpen) {
  launch();
  const MenuItem& resources = *menu->item.menu.at(2);
  settings->processor = 1234;
  settings->memory = 50 << 20;
  queue->advance(5);
  EXPECT_EQ(resources.title, "");
  menu->handlers.willOpen();
  EXPECT_EQ(resources.title, "CPU 123%  •  RAM 50 MB");
  const int changes = menu->changes;
  queue->advance(3);
  EXPECT_EQ(menu->changes, changes) << "nothing is new";
  settings->processor = 0;
  queue->advance(1);
  EXPECT_EQ(resources.title, "CPU 0%  •  RAM 50 MB");
  menu->handlers.didClose();
  settings->processor = 500;
  queue->advance(5);
  EXPECT_EQ(resources.title, "CPU 0%  •  RAM 50 MB");
}

TEST_F(AppDelegateMenuTest, ShowsTheLidSleepThatTheSystemReports) {
  const std::string readState = "/usr/bin/pmset -g";
  const std::string turnOn =
      "/usr/bin/osascript -e do shell script \"/usr/bin/pmset disablesleep 1\" with administrator privileges";
  const char* title = "Keep Awake When Lid Is Closed";
  application->outcomes["/usr/bin/pmset"] = ToolOutcome{0, " SleepDisabled\t\t1\n"};
  launch();
  EXPECT_TRUE(menu->line(title).isChecked);
  EXPECT_EQ(defaults->boolean("preventLidSleep"), true);

  application->outcomes["/usr/bin/pmset"] = ToolOutcome{0, " SleepDisabled\t\t0\n"};
  log.take();
  choose(title);
  EXPECT_TRUE(application->alerts.empty()) << "switching it off asks nothing";
  EXPECT_FALSE(menu->line(title).isChecked);
  EXPECT_EQ(log.take(), Lines{"😴 Lid-closed sleep restored to normal"});

  application->chosenButton = 1;
  choose(title);
  EXPECT_EQ(runs(turnOn), 0);
  application->chosenButton = 0;
  application->outcomes["/usr/bin/osascript"] = ToolOutcome{1, ""};
  choose(title);
  EXPECT_EQ(application->alerts.back().message, "Keep Mac Awake with Lid Closed?");
  EXPECT_EQ(runs(turnOn), 1);
  EXPECT_FALSE(menu->line(title).isChecked) << "cancelled";
  application->outcomes["/usr/bin/osascript"] = tl::unexpected(posixError(2));
  application->outcomes["/usr/bin/pmset"] = tl::unexpected(posixError(2));
  choose(title);
  EXPECT_EQ(
      log.take(),
      (Lines{"⚠️ pmset change was not applied (cancelled or failed)", "😴 Lid-closed sleep restored to normal",
             "❌ Failed to run pmset: No such file or directory",
             "⚠️ Could not read pmset state: No such file or directory", "😴 Lid-closed sleep restored to normal"}));
}

TEST_F(AppDelegateMenuTest, StartsAtLoginOnlyIfTheSystemAgrees) {
  launch();
  log.take();
  menu->choose("Launch at Login");
  EXPECT_TRUE(menu->line("Launch at Login").isChecked);
  EXPECT_EQ(defaults->boolean("launchAtLogin"), true);
  settings->loginItemChange = tl::unexpected(posixError(13));
  menu->choose("Launch at Login");
  EXPECT_TRUE(menu->line("Launch at Login").isChecked);
  EXPECT_EQ(log.take(), (Lines{"✅ Launch at login enabled", "❌ Failed to update launch at login: Permission denied"}));
}

TEST_F(AppDelegateMenuTest, LeadsToThePermissions) {
  settings->granted = {Permission::ScreenRecording};
  launch();
  EXPECT_EQ(menu->line("Screen Recording — Enabled").symbol.name, "checkmark.circle.fill");
  EXPECT_EQ(menu->line("Grant Accessibility…").symbol.name, "exclamationmark.triangle.fill");
  menu->choose("Grant Accessibility…");
  settings->granted = {Permission::Accessibility};
  menu->handlers.willOpen();
  EXPECT_EQ(menu->line("Accessibility — Enabled").symbol.name, "checkmark.circle.fill");
  menu->choose("Grant Screen Recording…");
  EXPECT_EQ(settings->opened, (std::vector{Permission::Accessibility, Permission::ScreenRecording}));
}

TEST_F(AppDelegateMenuTest, ResetsPermissionsAndSaysWhatToDoWhenItCannot) {
  const std::string script =
      "/usr/bin/osascript -e do shell script \"/usr/bin/tccutil reset ScreenCapture com.tandemview.macos; "
      "/usr/bin/tccutil reset Accessibility com.tandemview.macos\" with administrator privileges";
  launch();
  application->chosenButton = 1;
  choose("Fix Permissions After Update…");
  EXPECT_EQ(settings->opened, std::vector{Permission::ScreenRecording});
  application->chosenButton = 2;
  choose("Fix Permissions After Update…");
  EXPECT_EQ(runs(script), 0);

  application->chosenButton = 0;
  settings->granted = {Permission::Accessibility};
  choose("Fix Permissions After Update…");
  EXPECT_EQ(menu->line("Accessibility — Enabled").symbol.name, "checkmark.circle.fill");
  EXPECT_EQ(runs("/bin/sh -c /usr/bin/tccutil reset ScreenCapture com.tandemview.macos"), 1);
  EXPECT_EQ(runs(script), 1);
  EXPECT_EQ(application->alerts.back().message, "Permissions reset");
  EXPECT_EQ(application->calls.back(), "terminate");

  application->outcomes["/usr/bin/osascript"] = ToolOutcome{1, ""};
  choose("Fix Permissions After Update…");
  EXPECT_EQ(application->alerts.back().message, "Accessibility wasn't reset");
  EXPECT_EQ(pasteboard, "sudo tccutil reset Accessibility com.tandemview.macos");
  EXPECT_TRUE(application->alerts.back().informativeText.ends_with(pasteboard));
  EXPECT_EQ(settings->opened.back(), Permission::Accessibility);
}

TEST_F(AppDelegateMenuTest, SaysOnceThatTheCaptureWasDeclined) {
  stream();
  for (const auto& [code, alerts] : {std::pair(-3800, 0u), {-3801, 1u}, {-3801, 1u}}) {
    endStream(code);
    EXPECT_EQ(application->alerts.size(), alerts);
    EXPECT_EQ(firstLine().title == "Screen Recording permission needed", alerts > 0);
    unplug();
    streamByCable();
  }
  EXPECT_EQ(settings->opened, std::vector{Permission::ScreenRecording});
}

}  // namespace
}  // namespace tandemview
