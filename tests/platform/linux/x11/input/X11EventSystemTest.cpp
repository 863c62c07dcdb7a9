#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xinput.h>

#include <chrono>
#include <csignal>

#include "platform/linux/x11/input/X11EventInput.h"
#include "platform/linux/x11/input/X11InputFixture.h"

namespace tandemview {
namespace {

struct X11EventSystemTest : X11InputFixture {
  /// Waits for as many events as expected, and then for a last motion that shows that no more have come before it.
  void expectEvents(const ClientProcess& xev, const Lines& expected) {
    const auto last = pointer();
    touch("direct", "move", 0, 0);
    touch("direct", "move", 0.999, 0.999);
    Lines seen;
    const bool isComplete = Program::within30Seconds([&] {
      seen = xevEvents(xev.output());
      return seen.size() > skipped && seen.back() == "motion 1923,1396";
    });
    EXPECT_TRUE(isComplete);
    seen.resize(std::max<std::size_t>(seen.size(), 2) - 2);
    seen.erase(seen.begin(), seen.begin() + static_cast<long>(std::min(skipped, seen.size())));
    skipped += seen.size() + 2;
    EXPECT_EQ(seen, expected);
  }

  /// How the user has mapped the buttons of the pointer and of XTEST's device behind it.
  void setButtonMaps(const std::vector<std::uint8_t>& pointerMap, const std::vector<std::uint8_t>& deviceMap) const {
    constexpr std::uint8_t testPointer = 4;
    const auto length = static_cast<std::uint8_t>(pointerMap.size());
    const auto ofPointer = owned(xcb_set_pointer_mapping_reply(
        client->get(), xcb_set_pointer_mapping(client->get(), length, pointerMap.data()), nullptr));
    const auto ofDevice = owned(xcb_input_set_device_button_mapping_reply(
        client->get(), xcb_input_set_device_button_mapping(client->get(), testPointer, length, deviceMap.data()),
        nullptr));
    ASSERT_TRUE(ofPointer && ofPointer->status == XCB_MAPPING_STATUS_SUCCESS);
    ASSERT_TRUE(ofDevice && ofDevice->status == XCB_MAPPING_STATUS_SUCCESS);
  }

  std::size_t skipped = 0;
};

TEST_F(X11EventSystemTest, MovementsArriveOnTheTouchedPixelHoweverItWasRounded) {
  const auto xev = startXev({"mouse"});
  expectEvents(*xev, {});

  Lines expected;
  // All the ways in which a phone may have rounded the fraction of a pixel's left edge, and the middle of it.
  for (const int column : {0, 1, 7, 214, 643}) {
    for (const double offset : {0.0, 1e-9, -1e-9, 0.5}) {
      touch("direct", "move", 0.9, 0.9);
      expected.push_back("motion 1859,1258");
      touch("direct", "move", (column + offset) / 644, 100.5 / 1398);
      expected.push_back(fmt::format("motion {},100", 1280 + column));
    }
  }
  expectEvents(*xev, expected);
}

TEST_F(X11EventSystemTest, PixelsBecomeClicksOfTheWheel) {
  const auto xev = startXev({"mouse"});
  expectEvents(*xev, {});
  const auto turn = [](int button, int clicks) {
    Lines lines;
    for (int click = 0; click < clicks; ++click) {
      lines.push_back(fmt::format("button {} press 1923,1396", button));
      lines.push_back(fmt::format("button {} release 1923,1396 state {}", button, button == 4 ? "800" : "1000"));
      if (button > 5) lines.back() = fmt::format("button {} release 1923,1396", button);
    }
    return lines;
  };
  const std::tuple<int, int, Lines> rows[] = {{30, 0, {}},
                                              {30, 0, turn(4, 1)},
                                              {-5, 0, {}},
                                              {-5, 0, {}},
                                              {-49, 0, {}},
                                              {-1, 0, turn(5, 1)},
                                              {120, 0, turn(4, 2)},
                                              {0, 99, turn(6, 1)},
                                              {0, -149, turn(7, 2)},
                                              {0, 50, turn(6, 1)},
                                              {INT32_MAX, 0, turn(4, 200)}};
  for (const auto& [vertical, horizontal, expected] : rows) {
    events->postScrollEvent({.vertical = vertical, .horizontal = horizontal});
    SCOPED_TRACE(fmt::format("scrolled by {}, {}", vertical, horizontal));
    expectEvents(*xev, expected);
  }
}

TEST_F(X11EventSystemTest, ClicksMeanTheSameWhateverTheUsersMapping) {
  const auto xev = startXev({"mouse"});
  expectEvents(*xev, {});
  const std::vector<std::uint8_t> plain = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  const std::vector<std::uint8_t> leftHanded = {3, 2, 1, 5, 4, 7, 6, 8, 9, 10};
  const std::vector<std::uint8_t> rotated = {2, 3, 1, 4, 5, 6, 7, 8, 9, 10};
  const struct {
    const std::vector<std::uint8_t>& pointer;
    const std::vector<std::uint8_t>& device;
  } rows[] = {{leftHanded, plain}, {plain, leftHanded}, {leftHanded, rotated}, {plain, plain}};
  for (const auto& row : rows) {
    setButtonMaps(row.pointer, row.device);
    touch("direct", "tap", 10.0 / 644, 20.0 / 1398);
    touch("trackpad", "rightclick", 0, 0);
    events->postScrollEvent({.vertical = 50});
    expectEvents(*xev, {"motion 1290,20", "button 1 press 1290,20", "motion 1290,20 state 100",
                        "button 1 release 1290,20 state 100", "motion 1290,20", "button 3 press 1290,20",
                        "motion 1290,20 state 400", "button 3 release 1290,20 state 400", "button 4 press 1290,20",
                        "button 4 release 1290,20 state 800"});
  }
  // A button that is switched off can't be pressed.
  setButtonMaps({0, 2, 3, 4, 5, 6, 7, 8, 9, 10}, plain);
  touch("direct", "tap", 10.0 / 644, 20.0 / 1398);
  expectEvents(*xev, {"motion 1290,20", "motion 1290,20"});
}

TEST_F(X11EventSystemTest, SmallMovementsAddUp) {
  const struct {
    int count;
    double pixels;  // of each movement
    int expected;
  } rows[] = {{100, 0.9, 90}, {50, -0.4, -20}, {1000, 0.05, 50}};
  for (const auto& row : rows) {
    touch("direct", "move", 300.0 / 644, 0.5);
    for (int count = 0; count < row.count; ++count) touch("trackpad", "move", row.pixels / 644, 0);
    EXPECT_TRUE(events->pointerLocation());  // the server has done all of it
    EXPECT_EQ(pointer()->root_x, 1580 + row.expected) << row.count << " times " << row.pixels;
  }
  // Somebody else's movement counts from where it ended.
  xcb_warp_pointer(client->get(), XCB_NONE, client->root(), 0, 0, 0, 0, 1400, 200);
  EXPECT_EQ(pointer()->root_x, 1400);
  touch("trackpad", "move", 0.9 / 644, 0.9 / 1398);
  touch("trackpad", "move", 0.9 / 644, 0.9 / 1398);
  EXPECT_TRUE(events->pointerLocation());
  EXPECT_EQ(pointer()->root_x, 1401);
  EXPECT_EQ(pointer()->root_y, 201);
}

TEST_F(X11EventSystemTest, NobodyWaitsForAServerThatDoesNotAnswer) {
  const auto xev = startXev({"mouse", "keyboard"});
  const auto hasty = std::make_shared<X11EventSystem>(time, clock, server.displayName());
  TouchInjector hastyTouches({1280, 0, 644, 1398}, {hasty, std::make_shared<X11Screens>(server.displayName()), clock});
  const auto send = [&](const char* touch) { hastyTouches.handleTouchEvent(Data::copying(std::string(touch))); };
  const auto useAll = [&] {
    const auto start = std::chrono::steady_clock::now();
    for (int count = 0; count < 20'000; ++count) hasty->postMouseEvent({.location = {1602, 699}});
    send(R"({"type":"move","x":0.25,"y":0.25,"mode":"direct"})");
    send(R"({"type":"move","x":0.01,"y":0,"mode":"trackpad"})");
    send(R"({"type":"tap","x":0,"y":0,"mode":"trackpad"})");
    send(R"({"type":"scroll","x":0,"y":-100,"mode":"trackpad"})");
    KeyboardInjector(nullptr, hasty).typeText("y");
    time->advance(1);
    return std::chrono::steady_clock::now() - start;
  };
  server.suspend();
  EXPECT_LT(useAll(), std::chrono::seconds(10));
  server.resume();
  Lines lines;
  ASSERT_TRUE(Program::within30Seconds([&] {
    time->advance(1);
    lines = xevEvents(xev->output());
    return !lines.empty() && lines.back() == "release y";
  })) << xev->output();
  const auto tap = std::ranges::find(lines, "button 1 press 1447,349");
  ASSERT_NE(tap, lines.end()) << xev->output();
  EXPECT_LT(tap - lines.begin(), 20) << "of all the movements, only the last counts";
  lines.erase(lines.begin(), tap);
  EXPECT_EQ(lines, (Lines{"button 1 press 1447,349", "motion 1447,349 state 100", "button 1 release 1447,349 state 100",
                          "button 4 press 1447,349", "button 4 release 1447,349 state 800", "button 4 press 1447,349",
                          "button 4 release 1447,349 state 800", "press y", "release y"}));

  // A grab of the server alone keeps nobody waiting.
  xcb_grab_server(client->get());
  EXPECT_NE(client->atom("any"), XCB_ATOM_NONE);  // the server has done it
  const auto start = std::chrono::steady_clock::now();
  touch("direct", "tap", 0.75, 0.75);
  EXPECT_EQ(events->pointerLocation(), (ScreenPoint{1763, 1048.5}));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_EQ(pointer()->root_x, 1763);
  xcb_ungrab_server(client->get());
  EXPECT_TRUE(pointer());
}

/// The sockets of this process, of which the youngest connection's is the last.
int youngestSocket() {
  int youngest = -1;
  for (int descriptor = 3; descriptor < 256; ++descriptor) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&address), &length) == 0) youngest = descriptor;
  }
  return youngest;
}

TEST_F(X11EventSystemTest, LeavesNothingHeldOrBorrowed) {
  const std::vector<xcb_keysym_t> mapping = keyboardMapping();
  for (const bool breaks : {false, true}) {
    auto mine = std::make_shared<X11EventSystem>(time, clock, server.displayName());
    const int socket = youngestSocket();
    mine->postMouseEvent({.type = MouseEventType::LeftDown, .location = {1300, 30}, .button = MouseButton::Left});
    KeyboardInjector(nullptr, mine).typeText("你");
    time->drain();
    EXPECT_TRUE(
        Program::within30Seconds([&] { return pointer()->mask == XCB_BUTTON_MASK_1 && keyboardMapping() != mapping; }));
    if (breaks) ::shutdown(socket, SHUT_RDWR);
    EXPECT_EQ(mine->pointerLocation().has_value(), !breaks);
    mine = nullptr;
    EXPECT_EQ(pointer()->mask, 0) << breaks;
    EXPECT_EQ(keyboardMapping(), mapping) << breaks;
  }
}

/// Runs `work` on an event system whose process is killed after it.
void inKilledRun(const std::string& displayName, const std::function<void(const std::shared_ptr<EventSystem>&)>& work) {
  const pid_t child = ::fork();
  if (child == 0) {
    const auto time = ManualQueue::make();
    const auto system = std::make_shared<X11EventSystem>(time, std::make_shared<ManualClock>(time), displayName);
    work(system);
    time->drain();
    static_cast<void>(system->pointerLocation());  // the server has done all of it
    ::kill(::getpid(), SIGKILL);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status));
}

TEST_F(X11EventSystemTest, AStartPutsRightWhatAKilledRunLeft) {
  // The fixture's own system lives, so that this one leaves its things alone.
  touch("direct", "drag", 0.5, 0.5, R"(,"phase":"began")");
  type("好");
  EXPECT_TRUE(events->pointerLocation());  // the server has done all of it
  const std::vector<xcb_keysym_t> lent = keyboardMapping();
  inKilledRun(server.displayName(), [](const auto&) {});
  EXPECT_EQ(pointer()->mask, XCB_BUTTON_MASK_1);
  EXPECT_EQ(keyboardMapping(), lent);

  const PrivateXServer own;
  client = X11Connection::open(own.displayName());
  const std::vector<xcb_keysym_t> mapping = keyboardMapping();
  inKilledRun(own.displayName(), [&](const std::shared_ptr<EventSystem>& system) {
    system->postMouseEvent({.type = MouseEventType::LeftDown, .location = {30, 30}, .button = MouseButton::Left});
    KeyboardInjector(nullptr, system).typeText("你们");
    constexpr std::uint8_t leftShift = 50;
    const auto other = X11Connection::open(own.displayName());
    postInput(*other, XCB_KEY_PRESS, leftShift);
    EXPECT_NE(other->atom("any"), XCB_ATOM_NONE);  // the server has done it
  });
  EXPECT_EQ(pointer()->mask, int{XCB_BUTTON_MASK_1} | int{XCB_MOD_MASK_SHIFT});
  EXPECT_NE(keyboardMapping(), mapping);
  X11EventSystem next(time, clock, own.displayName());
  EXPECT_TRUE(Program::within30Seconds([&] { return pointer()->mask == 0 && keyboardMapping() == mapping; }))
      << pointer()->mask;
}

TEST_F(X11EventSystemTest, EveryOperationSurvivesTheServersEnd) {
  touch("direct", "drag", 0.5, 0.5, R"(,"phase":"began")");
  type("ü你");
  server.kill();
  const auto without = std::make_shared<X11EventSystem>(time, clock, server.displayName());
  for (X11EventSystem* const system : {events.get(), without.get()}) {
    for (int repetition = 0; repetition < 3; ++repetition) {
      system->postMouseEvent({.type = MouseEventType::LeftUp, .button = MouseButton::Left});
      system->postScrollEvent({.vertical = 500});
      system->postKeyEvent({.keyCode = 36, .isDown = true, .flags = EventFlag::shift});
      system->postKeyEvent({.isDown = true, .text = u"é你"});
    }
    EXPECT_FALSE(system->isTrusted(TrustPrompt::Suppressed));
    EXPECT_EQ(system->pointerLocation(), std::nullopt);
  }
  log.take();
  EXPECT_FALSE(without->isTrusted(TrustPrompt::Allowed));
  EXPECT_EQ(log.take(), Lines{"💡 Input needs an X server with the XTEST extension: see DISPLAY"});
  time->advance(20);
}

}  // namespace
}  // namespace tandemview
