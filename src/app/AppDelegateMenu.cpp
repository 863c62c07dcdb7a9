#include <fmt/format.h>

#include "app/AppDelegate.h"

namespace tandemview {

namespace {

using Line = std::shared_ptr<MenuItem>;

constexpr double resourceInterval = 1.0;
constexpr double bytesPerMegabyte = 1048576;

constexpr double dotSize = 9;
constexpr const char* statusDot = "● ";

Line line(MenuItem item) {
  return std::make_shared<MenuItem>(std::move(item));
}

Line sectionHeader(std::string title) {
  return line({.kind = MenuItem::Kind::SectionHeader, .title = std::move(title)});
}

}  // namespace

/// An entry's action that does nothing once the delegate is gone.
std::function<void(const MenuItem&)> AppDelegate::action(std::function<void(AppDelegate&, const MenuItem&)> work) {
  return [weak = weak_from_this(), work = std::move(work)](const MenuItem& item) {
    if (const auto self = weak.lock()) work(*self, item);
  };
}

void AppDelegate::buildStatusMenu() {
  surroundings_.statusItems->becomeAccessory();
  const UserDefaults& defaults = *surroundings_.userDefaults;
  sessionPairingCode_ =
      WiFiSender::currentPairingCode(*surroundings_.userDefaults, *surroundings_.wallClock, surroundings_.randomBits);
  qualityMode_ = loadQualityMode(defaults.string(qualityModeKey), defaults.string(oldQualityModeKey),
                                 defaults.string(oldDisplaySizeKey));
  const PlatformTexts& texts = surroundings_.texts;

  statusMenuItem_ = line({});
  statsMenuItem_ = line({.symbol = {"speedometer"}, .isHidden = true});
  resourcesMenuItem_ = line({.symbol = {"cpu"}});
  const auto selectQuality = action([](AppDelegate& self, const MenuItem& item) { self.selectQuality(item); });
  for (const StreamQuality quality : allStreamQualities) {
    qualityMenuItems_.push_back(line({.title = std::string(menuTitle(quality)),
                                      .mark = MenuItem::Mark::Choice,
                                      .isChecked = quality == qualityMode_,
                                      .representedObject = std::string(rawValue(quality)),
                                      .action = selectQuality}));
  }
  screenRecordingMenuItem_ = line({.title = "Grant Screen Recording…",
                                   .toolTip = texts.screenRecordingToolTip,
                                   .action = action([](AppDelegate& self, const MenuItem&) {
                                     self.surroundings_.permissions->openSettings(Permission::ScreenRecording);
                                   })});
  accessibilityMenuItem_ = line({.title = "Grant Accessibility…",
                                 .toolTip = texts.accessibilityToolTip,
                                 .action = action([](AppDelegate& self, const MenuItem&) {
                                   self.surroundings_.permissions->openSettings(Permission::Accessibility);
                                 })});
  lidSleepMenuItem_ =
      line({.title = "Keep Awake When Lid Is Closed",
            .toolTip = texts.lidSleepToolTip,
            .mark = MenuItem::Mark::Switch,
            .action = action([](AppDelegate& self, const MenuItem&) { self.toggleLidSleepPrevention(); })});
  launchAtLoginMenuItem_ =
      line({.title = "Launch at Login",
            .symbol = {"arrow.up.forward.app"},
            .mark = MenuItem::Mark::Switch,
            .isChecked = defaults.boolean(launchAtLoginKey).value_or(false),
            .action = action([](AppDelegate& self, const MenuItem&) { self.toggleLaunchAtLogin(); })});

  statusItem_ = std::make_shared<StatusItem>();
  statusItem_->symbol = "laptopcomputer.and.iphone";
  statusItem_->menu = {
      statusMenuItem_,
      statsMenuItem_,
      resourcesMenuItem_,
      sectionHeader("Connection"),
      line({.title = "Pairing Code: " + sessionPairingCode_,
            .symbol = {"wifi"},
            .toolTip = "Enter this code on your iPhone to connect via WiFi."}),
      line({.title = "Display Quality",
            .shortTitle = "Quality…",
            .symbol = {"dial.medium"},
            .submenu = qualityMenuItems_}),
      line({.title = "Reconnect",
            .symbol = {"arrow.clockwise.circle.fill"},
            .keyEquivalent = "r",
            .action = action([](AppDelegate& self, const MenuItem&) { self.reconnect(); })}),
      sectionHeader("Permissions"),
      screenRecordingMenuItem_,
      accessibilityMenuItem_,
      line({.title = "Fix Permissions After Update…",
            .symbol = {"wrench.and.screwdriver.fill"},
            .toolTip = "Use this if a toggle looks enabled but capture or touch still doesn't work after updating the "
                       "app.",
            .action = action([](AppDelegate& self, const MenuItem&) { self.showPermissionTroubleshooter(); })}),
      sectionHeader("General"),
      line({.title = "Advanced", .symbol = {"gearshape"}, .submenu = {lidSleepMenuItem_}}),
      launchAtLoginMenuItem_,
      line({.kind = MenuItem::Kind::Separator}),
      line({.title = "Quit Tandemview",
            .shortTitle = "Quit",
            .symbol = {"power"},
            .keyEquivalent = "q",
            .action = action([](AppDelegate& self, const MenuItem&) { self.surroundings_.application->terminate(); })}),
  };
  updateStatusTitle(false);
  refreshPermissions();
  surroundings_.statusItems->install(statusItem_, {.willOpen =
                                                       [weak = weak_from_this()] {
                                                         if (const auto self = weak.lock()) self->menuWillOpen();
                                                       },
                                                   .didClose =
                                                       [weak = weak_from_this()] {
                                                         if (const auto self = weak.lock()) self->menuDidClose();
                                                       }});
  readLidSleep();
}

void AppDelegate::updateStatusTitle(bool connected) {
  std::vector<StyledText> title = {{statusDot, dotSize, connected ? TextColor::Green : TextColor::SecondaryLabel},
                                   {"Tandemview", 13, TextColor::Label}};
  if (!connected) title.push_back({" " + sessionPairingCode_, 13, TextColor::SecondaryLabel});
  if (statusItem_->title != title) {
    statusItem_->title = std::move(title);
    statusItem_->isConnected = connected;
    statusItem_->toolTip =
        connected ? "Tandemview — iPhone connected"
                  : fmt::format("Tandemview — enter code {} on your iPhone to connect via WiFi", sessionPairingCode_);
    surroundings_.statusItems->itemChanged();
  }
  if (connected) {
    showLine(*statusMenuItem_, isWiFiConnected_ ? "Connected · WiFi" : "Connected · USB",
             {"circle.fill", stateSymbolSize});
  } else {
    showLine(*statusMenuItem_, "Waiting for iPhone…", {"circle", stateSymbolSize});
    showLine(*statsMenuItem_, "", statsMenuItem_->symbol);  // the next phone has no figures yet
  }
  setHidden(*statsMenuItem_, !connected);
}

void AppDelegate::updateStatisticsLine() {
  showLine(*statsMenuItem_, fmt::format("{} FPS  •  {:.1f} ms", currentFPS_, currentLatency_), statsMenuItem_->symbol);
}

void AppDelegate::updateResourceLine() {
  const double percent = surroundings_.resources->processorUsage() / 1000.0 * 100;
  const double megabytes = static_cast<double>(surroundings_.resources->memoryFootprint()) / bytesPerMegabyte;
  showLine(*resourcesMenuItem_, fmt::format("CPU {:.0f}%  •  RAM {:.0f} MB", percent, megabytes),
           resourcesMenuItem_->symbol);
}

void AppDelegate::menuWillOpen() {
  updateResourceLine();
  refreshPermissions();
  resourceTimer_ = Timer::repeating(surroundings_.mainQueue, resourceInterval, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->updateResourceLine();
  });
}

void AppDelegate::menuDidClose() {
  resourceTimer_ = nullptr;
}

/// The host hears of a line only what is new.
void AppDelegate::showLine(MenuItem& item, const std::string& title, const MenuSymbol& symbol) {
  if (item.title == title && item.symbol == symbol) return;
  item.title = title;
  item.symbol = symbol;
  surroundings_.statusItems->lineChanged(item);
}

void AppDelegate::setHidden(MenuItem& item, bool hidden) {
  if (std::exchange(item.isHidden, hidden) != hidden) surroundings_.statusItems->lineChanged(item);
}

void AppDelegate::setChecked(MenuItem& item, bool checked) {
  if (std::exchange(item.isChecked, checked) != checked) surroundings_.statusItems->lineChanged(item);
}

}  // namespace tandemview
