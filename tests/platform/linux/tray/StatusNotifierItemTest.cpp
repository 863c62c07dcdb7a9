#include "platform/linux/tray/StatusNotifierItem.h"

#include <atomic>
#include <limits>
#include <mutex>

#include "platform/linux/alerts/NotificationAlerts.h"
#include "support/NotificationStandIn.h"
#include "support/Stranger.h"
#include "support/Tray.h"
#include "support/TrayFixture.h"

namespace tandemview {
namespace {

using Identifier = MenuTree::Identifier;
using Identifiers = std::vector<Identifier>;
using Names = MenuTree::Names;
using Event = sdbus::Struct<Identifier, std::string, sdbus::Variant, std::uint32_t>;

/// A layout as text: "label", with what differs from a plain line, and the lines below in parentheses.
std::string textOf(const MenuTree::Layout& layout) {
  auto properties = layout.get<1>();
  const auto take = [&](const char* name, auto fallback) -> decltype(fallback) {
    auto node = properties.extract(name);
    return node.empty() ? fallback : node.mapped().template get<decltype(fallback)>();
  };
  std::string text = std::to_string(layout.get<0>()) + take("type", std::string()) + take("label", std::string());
  if (!take("enabled", true)) text += " disabled";
  if (!take("visible", true)) text += " hidden";
  for (const auto& keys : take("shortcut", std::vector<std::vector<std::string>>())) {
    for (const std::string& key : keys) text += " +" + key;
  }
  const std::int32_t state = take("toggle-state", std::int32_t(-1));
  if (state >= 0) text += " " + take("toggle-type", std::string()) + (state == 0 ? " off" : " on");
  if (const auto icon = take("icon-name", std::string()); !icon.empty()) text += " <" + icon + ">";
  if (take("children-display", std::string()) == "submenu") text += " [";
  for (const sdbus::Variant& child : layout.get<2>()) text += textOf(child.get<MenuTree::Layout>()) + "; ";
  return text + (properties.empty() ? "" : " unexpected properties");
}

/// Alerts that nobody sees.
class Nowhere final : public AlertSystem {
  void show(const Alert& alert, std::function<void(int button)> answer) override {
    answer(static_cast<int>(alert.buttons.size()) - 1);
  }
};

class StatusNotifierItemTest : public TrayFixture {
 protected:
  StatusNotifierItemTest() {
    const auto note = [this](const MenuItem& line) { events_.push_back("chose " + line.title); };
    const auto choice = [&](const char* title, bool isChecked) {
      return std::make_shared<MenuItem>(
          MenuItem{.title = title, .mark = MenuItem::Mark::Choice, .isChecked = isChecked, .action = note});
    };
    item_->symbol = "laptopcomputer.and.iphone";
    item_->title = {{"● ", 9, TextColor::Green}, {"Tandemview"}, {" 42", 13, TextColor::SecondaryLabel}};
    item_->toolTip = "the tip";
    for (const MenuItem& line :
         {MenuItem{.title = "State", .symbol = {"circle"}}, MenuItem{.isHidden = true, .action = note},
          MenuItem{.kind = MenuItem::Kind::SectionHeader, .title = "Section"},
          MenuItem{
              .title = "Quality", .shortTitle = "Quality…", .submenu = {choice("low_1", false), choice("high", true)}},
          MenuItem{.title = "At Login", .mark = MenuItem::Mark::Switch, .action = note},
          MenuItem{.kind = MenuItem::Kind::Separator},
          MenuItem{.title = "Quit", .shortTitle = "Quit", .symbol = {"power"}, .keyEquivalent = "q", .action = note}}) {
      item_->menu.push_back(std::make_shared<MenuItem>(line));
    }
  }

  void install() {
    const auto makeAlerts = [this] {
      return std::make_shared<NotificationAlerts>(queue_, std::make_shared<Nowhere>());
    };
    system_ = std::make_shared<StatusNotifierItem>(queue_, "/icons",
                                                   std::make_shared<StatusNotification>(queue_, makeAlerts));
    system_->install(item_, {.willOpen =
                                 [this] {
                                   events_.push_back("opens");
                                   item_->menu[0]->title = "Opened";
                                   item_->menu[0]->symbol = {};
                                   system_->lineChanged(*item_->menu[0]);
                                 },
                             .didClose = [this] { events_.push_back("closed"); }});
  }

  void startBusAndTray() {
    bus_.start();
    tray_.emplace(connect());
    install();
    ASSERT_TRUE(becomes([this] { return tray_->registrations() == 1; }));
    menu_ = answered([this] { return tray_->menu(); });
  }

  std::string layout(Identifier line, std::int32_t depth, const Names& names = {}) {
    return answered([&] {
      std::tuple<std::uint32_t, MenuTree::Layout> reply;
      menu_->callMethod("GetLayout")
          .onInterface("com.canonical.dbusmenu")
          .withArguments(line, depth, names)
          .storeResultsTo(std::get<0>(reply), std::get<1>(reply));
      return textOf(std::get<1>(reply));
    });
  }
  void event(Identifier line, const std::string& name) {
    answered([&] { send(*menu_, line, name); });
  }
  bool eventsBecome(const std::vector<std::string>& events) {
    return becomes([&] { return events_ == events; });
  }

  const std::shared_ptr<StatusItem> item_ = std::make_shared<StatusItem>();
  std::vector<std::string> events_;
  std::shared_ptr<StatusNotifierItem> system_;
  std::optional<Tray> tray_;
  std::unique_ptr<sdbus::IProxy> menu_;
};

TEST_F(StatusNotifierItemTest, TrayReadsTheItemAndItsMenu) {
  startBusAndTray();
  std::atomic<int> changes = 0;
  const auto item = tray_->item();
  const auto text = [&](const char* name) {
    return answered([&] { return Tray::property(*item, name).get<std::string>(); });
  };
  EXPECT_EQ(text("Status"), "Active");
  EXPECT_EQ(text("Title"), "Tandemview 42");
  EXPECT_EQ(text("XAyatanaLabel"), "Tandemview 42");
  EXPECT_EQ(text("IconName"), "tandemview-symbolic");
  EXPECT_EQ(text("IconThemePath"), "/icons/hicolor/symbolic/apps");

  EXPECT_EQ(layout(0, -1),
            "0 [1State disabled <tandemview-dot-symbolic>; 2 hidden; 3separator; 4Section disabled; "
            "5Quality [6low__1 radio off; 7high radio on; ; 8At Login checkmark off; 9separator; "
            "10Quit +Control +q <application-exit-symbolic>; ");
  EXPECT_EQ(layout(0, 1, {"label"}), "01State; 2; 3; 4Section; 5Quality; 8At Login; 9; 10Quit; ");
  EXPECT_EQ(layout(5, 0), "5Quality [");
  item_->menu[0]->title.clear();
  EXPECT_EQ(layout(1, 0), "1 disabled hidden <tandemview-dot-symbolic>");

  item->uponSignal("NewIcon").onInterface("org.kde.StatusNotifierItem").call([&] { ++changes; });
  answered([&] { item->finishRegistration(); });
  item_->isConnected = true;
  for (int count = 0; count < 3; ++count) system_->itemChanged();
  ASSERT_TRUE(becomes([&] { return changes == 1; }));
  EXPECT_EQ(text("IconName"), "tandemview-connected-symbolic");
  EXPECT_EQ(log_.take(), std::vector<std::string>());
}

TEST_F(StatusNotifierItemTest, ChoosingRunsTheActionOfLinesThatCanBeChosen) {
  startBusAndTray();
  for (Identifier line = 0; line <= 10; ++line) event(line, "clicked");
  event(10, "hovered");
  EXPECT_TRUE(eventsBecome({"chose low_1", "chose high", "chose At Login", "chose Quit"}));
}

TEST_F(StatusNotifierItemTest, MenuIsOpenFromTheHostsAnnouncementToItsEnd) {
  startBusAndTray();
  // What changes at the opening is told before the answer, after which hosts draw.
  using Updates = std::vector<sdbus::Struct<Identifier, MenuTree::Properties>>;
  std::mutex mutex;
  std::string told;
  const auto listener = answered([this] { return tray_->menu(); });
  listener->uponSignal("ItemsPropertiesUpdated")
      .onInterface("com.canonical.dbusmenu")
      .call([&](const Updates& updates, const std::vector<sdbus::Struct<Identifier, Names>>& removals) {
        const std::lock_guard lock(mutex);
        for (const auto& update : updates) told += update.get<1>().at("label").get<std::string>();
        for (const std::string& name : removals.at(0).get<1>()) told += " -" + name;
      });
  answered([&] { listener->finishRegistration(); });
  EXPECT_FALSE(answered([&] { return call<bool>(*menu_, "AboutToShow", 0); }));
  EXPECT_TRUE(becomes([&] {
    const std::lock_guard lock(mutex);
    return told == "Opened -icon-name";
  }));
  event(0, "opened");
  EXPECT_EQ(std::exchange(events_, {}), std::vector<std::string>{"opens"});
  queue_->advance(1000);  // an open menu may stay open
  answered([&] { return call<bool>(*menu_, "AboutToShow", 5); });
  event(5, "opened");
  event(5, "closed");
  EXPECT_EQ(events_, std::vector<std::string>());
  event(0, "closed");
  event(0, "closed");
  EXPECT_EQ(std::exchange(events_, {}), std::vector<std::string>{"closed"});

  // A host that never tells of the end.
  for (int count = 0; count < 3; ++count) {
    answered([&] { return call<bool>(*menu_, "AboutToShow", 0); });
    queue_->advance(29);
  }
  EXPECT_EQ(std::exchange(events_, {}), (std::vector<std::string>{"opens", "closed", "opens", "closed", "opens"}));
  queue_->advance(60);
  EXPECT_EQ(std::exchange(events_, {}), std::vector<std::string>{"closed"});

  answered([&] { return call<bool>(*menu_, "AboutToShow", 0); });
  event(5, "clicked");
  EXPECT_EQ(std::exchange(events_, {}), (std::vector<std::string>{"opens", "closed"}));

  // A host that ends while its menu is open.
  answered([this] {
    const auto host = connect();
    send(*tray_->menu(**host), 0, "opened");
  });
  EXPECT_TRUE(eventsBecome({"opens", "closed"}));
}

TEST_F(StatusNotifierItemTest, OnlyTheBusTellsThatTheTrayHasGone) {
  startBusAndTray();
  event(0, "opened");
  answered([this] {
    Stranger stranger(bus_.address());
    stranger.denyOwner("org.kde.StatusNotifierWatcher");
    stranger.denyOwner(tray_->name());
  });
  event(8, "clicked");
  EXPECT_TRUE(eventsBecome({"opens", "chose At Login"}));
  EXPECT_EQ(log_.take(), std::vector<std::string>());
}

TEST_F(StatusNotifierItemTest, NonsenseFromTheBusIsRefused) {
  startBusAndTray();
  constexpr Identifier lowest = std::numeric_limits<Identifier>::min();
  constexpr Identifier highest = std::numeric_limits<Identifier>::max();
  for (const Identifier line : {lowest, -1, 11, highest}) {
    EXPECT_THROW(layout(line, -1), sdbus::Error);
    EXPECT_THROW(event(line, "clicked"), sdbus::Error);
    EXPECT_THROW(answered([&] { return call<bool>(*menu_, "AboutToShow", line); }), sdbus::Error);
    EXPECT_THROW(answered([&] { return call<sdbus::Variant>(*menu_, "GetProperty", line, "label"); }), sdbus::Error);
  }
  EXPECT_THROW(answered([&] { return call<sdbus::Variant>(*menu_, "GetProperty", 1, "colour"); }), sdbus::Error);
  EXPECT_THROW(answered([&] { return call<bool>(*menu_, "AboutToShow", "zero"); }), sdbus::Error);
  EXPECT_EQ(layout(0, lowest), layout(0, highest));

  using Group = std::vector<sdbus::Struct<Identifier, MenuTree::Properties>>;
  const auto group = [&](const Identifiers& lines) {
    return answered([&] { return call<Group>(*menu_, "GetGroupProperties", lines, Names()).size(); });
  };
  EXPECT_EQ(group({}), 11U);
  EXPECT_EQ(group(Identifiers(100'000, 7)), 1U);
  EXPECT_EQ(group({lowest, 3, highest}), 1U);

  const auto events = [&](const std::vector<Event>& several) {
    return answered([&] { return call<Identifiers>(*menu_, "EventGroup", several); });
  };
  const auto click = [](Identifier line) { return Event(line, "clicked", sdbus::Variant(0), 0U); };
  EXPECT_THROW(events(std::vector<Event>(10'000, click(10))), sdbus::Error);
  EXPECT_THROW(events({click(99)}), sdbus::Error);
  EXPECT_EQ(events({click(99), click(8), click(-3)}), (Identifiers{99, -3}));
  EXPECT_TRUE(eventsBecome({"chose At Login"}));
  EXPECT_EQ(log_.take(), std::vector<std::string>());
}

TEST_F(StatusNotifierItemTest, WithoutATrayANotificationTakesItsPlace) {
  bus_.start();
  NotificationStandIn notifications(connect(), {"actions"});
  const auto settles = [&](const std::function<bool()>& condition) {
    if (!becomes(condition)) return false;
    answered([&] { notifications.settle(); });
    return true;
  };
  const auto notifies = [&](const std::string& text) {
    return settles([&] { return notifications.shown().starts_with(text); });
  };
  const auto isShownAgain = [&](std::uint32_t count) {
    system_->showAgain();
    return settles([&] { return notifications.count() == count; });
  };
  const std::string standing = "Tandemview is running|the tip\n\nThis desktop shows no menu for it.";
  const std::string missing =
      "⚠️ The menu is not shown before the desktop has a tray for it: nothing draws what is registered";
  tray_.emplace(connect(), /*hasHost=*/false);
  install();
  ASSERT_TRUE(becomes([&] { return log_.count(missing) == 1; }));
  queue_->advance(9);
  EXPECT_EQ(notifications.shown(), "") << "one that starts later";
  queue_->advance(1);
  ASSERT_TRUE(notifies(standing));
  EXPECT_TRUE(notifications.shown().ends_with("|0|Quality…|1|Quit|2|Close"));
  notifications.choose(1, "0");
  ASSERT_TRUE(notifies("Quality|Now: high|0|low_1|1|Cancel"));
  notifications.choose(2, "0");
  ASSERT_TRUE(eventsBecome({"chose low_1"}));

  tray_->setHost(true);
  ASSERT_TRUE(becomes([&] { return log_.count("✅ The menu is shown") == 1; }));
  tray_->setHost(false);
  ASSERT_TRUE(becomes([&] { return log_.count(missing) == 2; }));
  queue_->advance(10);
  ASSERT_TRUE(notifies(standing));
  notifications.close(3);
  answered([&] { notifications.settle(); });
  ASSERT_TRUE(isShownAgain(4));
  notifications.choose(4, "1");
  EXPECT_TRUE(eventsBecome({"chose low_1", "chose Quit"}));

  ASSERT_TRUE(isShownAgain(5));
  tray_->setHost(true);
  EXPECT_TRUE(becomes([&] { return notifications.withdrawn() == std::vector{5U}; }));
  system_->showAgain();
  queue_->advance(100);
  EXPECT_EQ(notifications.count(), 5U) << "there is a menu";
}

TEST_F(StatusNotifierItemTest, BusAndTrayMayComeAndGo) {
  std::vector<std::string> lines;
  const auto linesBecome = [&](std::size_t count, const std::string& last) {
    return queue_->advanceUntil([&] {
      for (std::string& line : log_.take()) lines.push_back(std::move(line));
      return lines.size() == count && lines.back().ends_with(last);
    });
  };
  install();
  system_->itemChanged();
  system_->lineChanged(*item_->menu[0]);
  ASSERT_TRUE(linesBecome(1, ""));
  EXPECT_TRUE(lines[0].starts_with("⚠️ The menu is not shown before the desktop has a tray for it: ")) << lines[0];

  const auto trayStarts = [&](std::size_t line) {
    tray_.emplace(connect());
    EXPECT_TRUE(linesBecome(line, "✅ The menu is shown"));
    answered([this] { send(*tray_->menu(), 0, "opened"); });
    EXPECT_EQ(std::exchange(events_, {}), std::vector<std::string>{"opens"});
  };
  bus_.start();
  trayStarts(2);
  tray_.reset();
  EXPECT_TRUE(linesBecome(3, "the desktop's tray has ended"));
  EXPECT_TRUE(eventsBecome({"closed"}));
  events_.clear();
  trayStarts(4);
  bus_.kill();
  EXPECT_TRUE(linesBecome(5, "the session bus is gone"));
  EXPECT_EQ(std::exchange(events_, {}), std::vector<std::string>{"closed"});
  tray_.reset();
  bus_.start();
  trayStarts(6);
}

}  // namespace
}  // namespace tandemview
