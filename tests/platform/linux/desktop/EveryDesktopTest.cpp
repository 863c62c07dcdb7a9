// What holds on every desktop: the back end that the program would choose, against real servers and real clients.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <sstream>

#include "fakes/LogRecorder.h"
#include "fakes/MemoryUserDefaults.h"
#include "support/Chord.h"
#include "support/DesktopClient.h"
#include "support/OpenDesktop.h"
#include "support/PaintedWindow.h"
#include "support/PrivateGnomeDesktop.h"
#include "support/PrivateX11Desktop.h"

namespace tandemview {
namespace {

constexpr PixelRectangle ours = {1280, 0, 644, 1398};
constexpr PixelRectangle mains = {0, 0, 1280, 800};

class EveryDesktopTest : public testing::TestWithParam<const char*> {
 protected:
  static bool isGnome() { return GetParam() == std::string("GNOME"); }

  void enter(const std::string& layout = "us") {
    if (isGnome()) {
      session = std::make_unique<PrivateGnomeDesktop>(layout);
    } else {
      session = std::make_unique<PrivateX11Desktop>(layout);
    }
    untouched = session->arrangement();
    desktop.emplace(settings);
  }

  /// A client with the pointer over it.
  std::unique_ptr<DesktopClient> startClient(const std::string& kind, const PixelRectangle& monitor) {
    auto client = std::make_unique<DesktopClient>(kind, monitor, session->environment());
    EXPECT_TRUE(client->prints("ready")) << client->output();
    desktop->post({.location = {monitor.x + 1.0, monitor.y + 1.0}});
    if (kind == "area") awaitPointer(*client);
    return client;
  }
  void awaitPointer(DesktopClient& client) {
    EXPECT_TRUE(client.seesPointer([&](const ScreenPoint& point) { desktop->post({.location = point}); }))
        << client.output();
  }

  bool isUntouched() const {
    return Program::within30Seconds([this] { return session->arrangement() == untouched; });
  }

  LogRecorder log;
  const std::shared_ptr<MemoryUserDefaults> settings = std::make_shared<MemoryUserDefaults>();
  std::unique_ptr<PrivateDesktop> session;
  std::string untouched;
  std::optional<OpenDesktop> desktop;
};

INSTANTIATE_TEST_SUITE_P(On, EveryDesktopTest, testing::Values("X11", "GNOME"),
                         [](const auto& kind) { return std::string(kind.param); });

TEST_P(EveryDesktopTest, ShowsWhatIsDrawnOnADisplayOfAnySizeThatTurnsInPlace) {
  enter();
  const Screens& screens = *desktop->ports.screens;
  const auto others = screens.activeDisplays(9).value();
  EXPECT_FALSE(desktop->display->displayID());
  std::optional<DisplayID> id;
  // GNOME's X server starts with its first client, and shows no window that was made where no monitor is.
  const std::string displayName = session->environment().at("DISPLAY");
  const PaintedWindow first(displayName, {0, 0, 1, 1});
  constexpr PixelRectangle place = {1280 + 100, 200, 70, 20};
  std::optional<PaintedWindow> window;
  for (const auto& [width, height] : {std::pair(644, 1398), {1398, 644}, {2048, 2732}, {645, 1397}}) {
    SCOPED_TRACE(width);
    ASSERT_TRUE(desktop->show(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)));
    if (!id) id = desktop->display->displayID();
    ASSERT_EQ(desktop->display->displayID(), id);
    EXPECT_EQ(desktop->bounds(), (ScreenRectangle{1280, 0, double(width), double(height)}));
    EXPECT_EQ(screens.activeDisplayCount(), 3U);
    EXPECT_EQ(screens.bounds(others[0]), (ScreenRectangle{0, 0, 1280, 800}));
    EXPECT_EQ(screens.bounds(others[1]), (ScreenRectangle{100, 800, 1024, 768}));
    EXPECT_TRUE(screens.isMain(others[0]));
    EXPECT_FALSE(screens.isMain(*id));
    EXPECT_EQ(screens.pixelSize(*id), (PixelSize{width, height}));
    const auto modes = desktop->ports.displays->allModes(*id);
    ASSERT_EQ(modes.size(), 1U) << "the mode of the former size is gone";
    EXPECT_EQ(modes[0].width, width);
    EXPECT_EQ(desktop->ports.displays->configureMode(*id, modes[0]), ConfigurationOutcome::Completed);

    // Whoever takes the pictures is slower than whoever draws them: the last one comes all the same.
    window.emplace(displayName, place);
    ASSERT_TRUE(desktop->capture(std::chrono::milliseconds(30)));
    for (std::uint32_t color = 1; color <= 40; ++color) window->paint(color);
    ASSERT_TRUE(desktop->stream->shows(40, 169, 219));
    window->paint(0x332211);
    const auto picture = desktop->stream->shows(0x332211, 100, 200);
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->width(), width);
    EXPECT_EQ(picture->height(), height);
    // The window, or the tiles of 64x16 that hold it.
    for (const PixelRectangle& part : picture->damage()) {
      EXPECT_GE(part.x, 64);
      EXPECT_GE(part.y, 192);
      EXPECT_LE(part.x + part.width, 192);
      EXPECT_LE(part.y + part.height, 224);
    }
  }
  for (int turn = 0; turn < 5; ++turn) ASSERT_TRUE(desktop->show(1398, 644) && desktop->show(644, 1398));
  EXPECT_EQ(desktop->display->displayID(), id);
  window.emplace(displayName, place);
  ASSERT_TRUE(desktop->capture());
  window->paint(0x112233);
  EXPECT_TRUE(desktop->stream->shows(0x112233, 100, 200));

  EXPECT_EQ(desktop->ports.displays->configureOrigin(*id, 1280, 100), ConfigurationOutcome::Completed);
  EXPECT_EQ(desktop->bounds(), (ScreenRectangle{1280, 100, 644, 1398}));
  desktop->display->terminate();
  EXPECT_FALSE(desktop->display->displayID());
  EXPECT_TRUE(desktop->stream->end());
  EXPECT_TRUE(isUntouched());
}

TEST_P(EveryDesktopTest, TheUsersArrangementComesBackWithTheDisplay) {
  enter();
  const Screens& screens = *desktop->ports.screens;
  const auto others = screens.activeDisplays(9).value();
  const auto place = [&](DisplayID display) {
    const ScreenRectangle main = screens.bounds(others[0]);
    const ScreenRectangle bounds = screens.bounds(display);
    return ScreenPoint{bounds.x - main.x, bounds.y - main.y};
  };
  const auto isAt = [&](const ScreenPoint& expected) {
    EXPECT_TRUE(Program::within30Seconds([&] { return place(others[1]) == ScreenPoint{100, 800}; }));
    EXPECT_EQ(place(*desktop->display->displayID()), expected);
  };
  const struct {
    const char* where;
    ScreenPoint place;
    ScreenPoint turned;
    ScreenPoint ofAnotherSize;  // 600x1200
  } rows[] = {{"to the left", {-644, 0}, {-1398, 0}, {-600, 0}},
              {"above", {0, -1398}, {0, -644}, {0, -1200}},
              {"to the right, the lower edges in line", {1280, -598}, {1280, 156}, {1280, -400}},
              {"below the second one", {100, 1568}, {100, 1568}, {100, 1568}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.where);
    ASSERT_TRUE(desktop->show(644, 1398));
    session->putDisplay(static_cast<int>(row.place.x), static_cast<int>(row.place.y));
    ASSERT_TRUE(Program::within30Seconds([&] { return place(*desktop->display->displayID()) == row.place; }));
    desktop->display->terminate();
    EXPECT_TRUE(isUntouched());
    for (int turn = 0; turn < 2; ++turn) {  // it comes back, is turned, and turned back
      ASSERT_TRUE(desktop->show(644, 1398));
      isAt(row.place);
      ASSERT_TRUE(desktop->show(1398, 644));
      isAt(row.turned);
    }
    ASSERT_TRUE(desktop->show(600, 1200));
    isAt(row.ofAnotherSize);
    desktop->display->terminate();
    EXPECT_TRUE(isUntouched());
  }
}

TEST_P(EveryDesktopTest, TouchesArriveOnTheTouchedPixel) {
  enter();
  ASSERT_TRUE(desktop->show(644, 1398) && desktop->capture());
  const auto client = startClient("area", ours);
  const auto touch = [&](const char* type, int x, int y, const char* extra = "") {
    desktop->touch("direct", type, x / 644.0, y / 1398.0, extra);
  };
  const auto arrive = [&](const Lines& expected) { EXPECT_EQ(client->events(expected.size()), expected); };
  touch("move", 643, 1397);
  arrive({"motion 643,1397"});
  touch("tap", 30, 40);
  arrive({"motion 30,40", "press 1 30,40", "motion 30,40 state 100", "release 1 30,40 state 100"});
  touch("drag", 130, 40, R"(,"phase":"began")");
  touch("drag", 131, 42, R"(,"phase":"moved")");
  touch("drag", 132, 44, R"(,"phase":"ended")");
  arrive({"motion 130,40", "press 1 130,40", "motion 131,42 state 100", "motion 132,44 state 100",
          "release 1 132,44 state 100"});
  desktop->touch("trackpad", "move", 68.0 / 644, -4.0 / 1398);
  desktop->touch("trackpad", "rightclick", 0, 0);
  arrive({"motion 200,40", "motion 200,40", "press 3 200,40", "motion 200,40 state 400", "release 3 200,40 state 400"});
  touch("tap", 300, 400);
  touch("tap", 301, 400);
  arrive({"motion 300,400", "press 1 300,400", "motion 300,400 state 100", "release 1 300,400 state 100",
          "motion 301,400", "press 1 301,400", "double press 1 301,400", "motion 301,400 state 100",
          "release 1 301,400 state 100"});
  desktop->touch("trackpad", "scroll", 0, -100);
  EXPECT_TRUE(client->prints("\nscroll 0,-")) << client->output();

  const ScreenPoint point = {1300, 30};
  desktop->post({.type = MouseEventType::LeftDown,
                 .location = point,
                 .button = MouseButton::Left,
                 .flags = EventFlag::shift | EventFlag::command});
  desktop->post({.type = MouseEventType::LeftUp, .location = point, .button = MouseButton::Left});
  EXPECT_EQ(desktop->pointer(), point);
  EXPECT_TRUE(client->prints("press 1 20,30 state 5\n")) << client->output();

  for (const double beyond : {1e300, -1e300, std::numeric_limits<double>::quiet_NaN()}) {
    desktop->post({.location = {beyond, beyond}});
    EXPECT_TRUE(desktop->pointer());
  }
  touch("move", 322, 699);
  desktop->touch("trackpad", "move", 1, 1);
  EXPECT_EQ(desktop->pointer(), (ScreenPoint{1923, 1397}));
}

TEST_P(EveryDesktopTest, KeysAndShortcutsArriveByWhatTheLayoutBears) {
  struct Row {
    const char* key;
    const char* modifiers;
    const char* chord;
  };
  const std::vector<Row> shortcuts = {{"left", R"("cmd","shift")", "Shift_L 1 Home"},
                                      {"left", R"("control")", "Control_L 4 Left"},
                                      {"C", R"("cmd")", "Control_L 4 c"},
                                      {"z", R"("cmd","shift")", "Shift_L 1 Control_L 5 Z"},
                                      {"x", R"("option")", "Alt_L 8 x"},
                                      {"-", R"("cmd")", "Control_L 4 KP_Subtract"}};
  const std::vector<Row> german = {{"ö", R"("option")", "Alt_L 8 odiaeresis"}, {"-", R"("option")", "Alt_L 8 minus"}};
  const std::string english =
      "Return Return enter Return tab Tab space space escape Escape delete BackSpace backspace BackSpace left Left "
      "right Right up Up down Down = equal - minus ] bracketright [ bracketleft ' apostrophe ; semicolon "
      "\\\\ backslash , comma / slash . period ` grave";
  const std::vector<std::pair<const char*, const char*>> characters = {
      {"y", "y"}, {"Z", "Shift_L 1 Z"}, {"@", "ISO_Level3_Shift 0 at"}, {"ß", "ssharp"}, {"\\n", "Return"}};

  for (const bool isGerman : {false, true}) {
    SCOPED_TRACE(isGerman);
    enter(isGerman ? "de" : "us");
    ASSERT_TRUE(desktop->show(644, 1398) && desktop->capture());
    const auto client = startClient("area", ours);
    const auto arrives = [&](const std::string& keys) {
      const Lines expected = chord(keys);
      EXPECT_EQ(client->events(expected.size()), expected);
    };
    const auto press = [&](const Row& row) {
      desktop->pressKey(row.key, row.modifiers);
      arrives(row.chord);
    };
    std::ranges::for_each(shortcuts, press);
    desktop->touch("trackpad", "zoom", 0.1, 0);
    arrives("Control_L 4 KP_Add");
    desktop->touch("trackpad", "gesture", 0, 0, R"(,"direction":"lookup")");
    for (const char character : std::string("abcdefghijklmnopqrstuvwxyz0123456789"))
      press({std::string(1, character).c_str(), "", std::string(1, character).c_str()});
    if (isGerman) {
      std::ranges::for_each(german, press);
      for (const auto& [character, keys] : characters) {
        desktop->type(character);
        arrives(keys);
      }
    } else {
      std::istringstream words(english);
      for (std::string name, symbol; words >> name >> symbol;) press({name.c_str(), "", symbol.c_str()});
    }
    press({"space", "", "space"});  // with nothing held
    desktop.reset();
  }
}

TEST_P(EveryDesktopTest, AnyTextReachesATextFieldAndATerminal) {
  const std::string text = "Grüße, 你好 é {}[]~ 👍🏽";
  enter("de");
  session->startInputMethod();
  for (const char* kind : {"field", "terminal"}) {
    ASSERT_TRUE(desktop->show(644, 1398) && desktop->capture());
    const auto client = startClient(kind, ours);
    ASSERT_TRUE(session->awaitsText());
    desktop->type(text);
    EXPECT_TRUE(client->prints("text " + text + "\n")) << client->output();
    desktop.reset();
    desktop.emplace();  // another run
  }
}

/// Run by the test below, in its session: what it does never ends by itself.
TEST(DISABLED_KilledRun, ShowsADisplayAndHoldsAButtonAndOftenAKey) {
  OpenDesktop desktop;
  ASSERT_TRUE(desktop.show(644, 1398) && desktop.capture());
  for (;;) {
    desktop.post({.type = MouseEventType::LeftDown, .location = {20, 30}, .button = MouseButton::Left});
    desktop.pressKey("c", R"("cmd")");
  }
}

TEST_P(EveryDesktopTest, NothingStaysShownOrHeld) {
  enter();
  // The client stays when the phone's display goes.
  ASSERT_TRUE(desktop->show(644, 1398) && desktop->capture());
  const auto client = startClient("area", mains);
  desktop->post({.type = MouseEventType::LeftDown, .location = {20, 30}, .button = MouseButton::Left});
  EXPECT_TRUE(client->prints("press 1 20,30"));
  desktop.reset();
  EXPECT_TRUE(client->prints("release 1 20,30"));
  EXPECT_TRUE(isUntouched());

  const std::string self = std::filesystem::read_symlink("/proc/self/exe");
  {
    const Program killed({self, "--gtest_also_run_disabled_tests", "--gtest_filter=DISABLED_KilledRun.*"},
                         session->environment());
    EXPECT_TRUE(client->prints("press c state 104", 3)) << killed.output() << client->output();
  }
  desktop.emplace(settings);
  EXPECT_TRUE(isUntouched());
  EXPECT_TRUE(client->prints("release 1 20,30", 2));
  ASSERT_TRUE(desktop->show(644, 1398) && desktop->capture());
  awaitPointer(*client);
  desktop->type("y");
  EXPECT_EQ(client->events(2), chord("y"));
}

TEST_P(EveryDesktopTest, WhatEndsTheDisplayIsToldAndItMayComeBack) {
  enter();
  for (const auto& happens : session->ends()) {
    ASSERT_TRUE(desktop->show(644, 1398) && desktop->capture());
    log.take();
    happens();
    EXPECT_TRUE(desktop->stream->end());
    EXPECT_TRUE(Program::within30Seconds([&] { return !desktop->display->displayID(); }));
    desktop->makeDisplay();
    EXPECT_TRUE(desktop->show(1398, 644));
    const auto isLine = [](const std::string& line) { return line.starts_with("📺 "); };
    EXPECT_EQ(std::ranges::count_if(log.take(), isLine), isGnome()) << "X11 has nothing to add to the stream's error";
    desktop->display->terminate();
  }
}

}  // namespace
}  // namespace tandemview
