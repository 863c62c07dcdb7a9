#include "app/StatusMenu.h"

#include <fmt/format.h>

#include <utility>

namespace tandemview {

namespace {

constexpr double dotSize = 9;
constexpr const char* statusDot = "● ";
constexpr double stateSymbolSize = 11;  // points, of the menu's first line
constexpr const char* warningSymbol = "exclamationmark.triangle.fill";

std::shared_ptr<MenuItem> line(MenuItem item) {
  return std::make_shared<MenuItem>(std::move(item));
}

std::shared_ptr<MenuItem> sectionHeader(std::string title) {
  return line({.kind = MenuItem::Kind::SectionHeader, .title = std::move(title)});
}

/// An action that is the same whatever the line.
std::function<void(const MenuItem&)> plain(std::function<void()> action) {
  return [action = std::move(action)](const MenuItem&) { action(); };
}

}  // namespace

StatusMenu::StatusMenu(std::shared_ptr<StatusItemSystem> host, const PlatformTexts& texts, const Contents& contents,
                       const Actions& actions)
    : host_(std::move(host)), pairingCode_(contents.pairingCode) {
  const auto settingsOf = [&actions](Permission permission) {
    return plain([open = actions.openSettings, permission] { open(permission); });
  };
  statusMenuItem_ = line({});
  statsMenuItem_ = line({.symbol = {"speedometer"}, .isHidden = true});
  resourcesMenuItem_ = line({.symbol = {"cpu"}});
  for (const StreamQuality quality : allStreamQualities) {
    qualityMenuItems_.push_back(line({.title = std::string(menuTitle(quality)),
                                      .mark = MenuItem::Mark::Choice,
                                      .isChecked = quality == contents.quality,
                                      .representedObject = std::string(rawValue(quality)),
                                      .action = actions.selectQuality}));
  }
  screenRecordingMenuItem_ = line({.title = "Grant Screen Recording…",
                                   .toolTip = texts.screenRecordingToolTip,
                                   .action = settingsOf(Permission::ScreenRecording)});
  accessibilityMenuItem_ = line({.title = "Grant Accessibility…",
                                 .toolTip = texts.accessibilityToolTip,
                                 .action = settingsOf(Permission::Accessibility)});
  lidSleepMenuItem_ = line({.title = "Keep Awake When Lid Is Closed",
                            .toolTip = texts.lidSleepToolTip,
                            .mark = MenuItem::Mark::Switch,
                            .action = plain(actions.toggleLidSleepPrevention)});
  launchAtLoginMenuItem_ = line({.title = "Launch at Login",
                                 .symbol = {"arrow.up.forward.app"},
                                 .mark = MenuItem::Mark::Switch,
                                 .isChecked = contents.launchesAtLogin,
                                 .action = plain(actions.toggleLaunchAtLogin)});

  statusItem_->symbol = "laptopcomputer.and.iphone";
  statusItem_->menu = {
      statusMenuItem_,
      statsMenuItem_,
      resourcesMenuItem_,
      sectionHeader("Connection"),
      line({.title = "Pairing Code: " + pairingCode_,
            .symbol = {"wifi"},
            .toolTip = "Enter this code on your iPhone to connect via WiFi."}),
      line({.title = "Display Quality",
            .shortTitle = "Quality…",
            .symbol = {"dial.medium"},
            .submenu = qualityMenuItems_}),
      line({.title = "Reconnect",
            .symbol = {"arrow.clockwise.circle.fill"},
            .keyEquivalent = "r",
            .action = plain(actions.reconnect)}),
      sectionHeader("Permissions"),
      screenRecordingMenuItem_,
      accessibilityMenuItem_,
      line({.title = "Fix Permissions After Update…",
            .symbol = {"wrench.and.screwdriver.fill"},
            .toolTip = "Use this if a toggle looks enabled but capture or touch still doesn't work after updating the "
                       "app.",
            .action = plain(actions.fixPermissions)}),
      sectionHeader("General"),
      line({.title = "Advanced", .symbol = {"gearshape"}, .submenu = {lidSleepMenuItem_}}),
      launchAtLoginMenuItem_,
      line({.kind = MenuItem::Kind::Separator}),
      line({.title = "Quit Tandemview",
            .shortTitle = "Quit",
            .symbol = {"power"},
            .keyEquivalent = "q",
            .action = plain(actions.quit)}),
  };
}

void StatusMenu::install(StatusItemSystem::MenuHandlers handlers) {
  host_->install(statusItem_, std::move(handlers));
}

void StatusMenu::showLink(const std::string& link) {
  const bool connected = !link.empty();
  std::vector<StyledText> title = {{statusDot, dotSize, connected ? TextColor::Green : TextColor::SecondaryLabel},
                                   {"Tandemview", 13, TextColor::Label}};
  if (!connected) title.push_back({" " + pairingCode_, 13, TextColor::SecondaryLabel});
  if (statusItem_->title != title) {
    statusItem_->title = std::move(title);
    statusItem_->isConnected = connected;
    statusItem_->toolTip =
        connected ? "Tandemview — iPhone connected"
                  : fmt::format("Tandemview — enter code {} on your iPhone to connect via WiFi", pairingCode_);
    host_->itemChanged();
  }
  if (connected) {
    showLine(*statusMenuItem_, "Connected · " + link, {"circle.fill", stateSymbolSize});
  } else {
    showLine(*statusMenuItem_, "Waiting for iPhone…", {"circle", stateSymbolSize});
    showLine(*statsMenuItem_, "", statsMenuItem_->symbol);  // the next phone has no figures yet
  }
  setHidden(*statsMenuItem_, !connected);
}

void StatusMenu::showUnsupported(const std::string& text) {
  showLine(*statusMenuItem_, text, statusMenuItem_->symbol);
}

void StatusMenu::showCaptureDenied() {
  showLine(*statusMenuItem_, "Screen Recording permission needed", {warningSymbol, stateSymbolSize});
}

void StatusMenu::showStatistics(std::int64_t framesPerSecond, double latencyMilliseconds) {
  showLine(*statsMenuItem_, fmt::format("{} FPS  •  {:.1f} ms", framesPerSecond, latencyMilliseconds),
           statsMenuItem_->symbol);
}

void StatusMenu::showResources(double processorPercent, double megabytes) {
  showLine(*resourcesMenuItem_, fmt::format("CPU {:.0f}%  •  RAM {:.0f} MB", processorPercent, megabytes),
           resourcesMenuItem_->symbol);
}

void StatusMenu::showQuality(StreamQuality quality) {
  for (const Line& entry : qualityMenuItems_) setChecked(*entry, entry->representedObject == rawValue(quality));
}

void StatusMenu::showPermission(Permission permission, bool isGranted) {
  const bool isScreen = permission == Permission::ScreenRecording;
  MenuItem& item = isScreen ? *screenRecordingMenuItem_ : *accessibilityMenuItem_;
  const char* const name = isScreen ? "Screen Recording" : "Accessibility";
  if (isGranted) return showLine(item, fmt::format("{} — Enabled", name), {"checkmark.circle.fill"});
  showLine(item, fmt::format("Grant {}…", name), {warningSymbol});
}

void StatusMenu::showLidSleepPrevented(bool isPrevented) {
  setChecked(*lidSleepMenuItem_, isPrevented);
}

void StatusMenu::showLaunchAtLogin(bool isEnabled) {
  setChecked(*launchAtLoginMenuItem_, isEnabled);
}

void StatusMenu::showLine(MenuItem& item, const std::string& title, const MenuSymbol& symbol) {
  if (item.title == title && item.symbol == symbol) return;
  item.title = title;
  item.symbol = symbol;
  host_->lineChanged(item);
}

void StatusMenu::setHidden(MenuItem& item, bool hidden) {
  if (std::exchange(item.isHidden, hidden) != hidden) host_->lineChanged(item);
}

void StatusMenu::setChecked(MenuItem& item, bool checked) {
  if (std::exchange(item.isChecked, checked) != checked) host_->lineChanged(item);
}

}  // namespace tandemview
