// The phone's window on one private X server, the program on another: what the user's hands do in the window happens on
// the virtual display, to clients that others have written.

#include <fmt/format.h>

#include "end_to_end/EndToEndFixture.h"
#include "fakes/ManualQueue.h"
#include "input/KeyboardInjector.h"
#include "platform/linux/x11/input/X11EventSystem.h"
#include "support/ClientProcess.h"
#include "support/DesktopClient.h"

namespace tandemview {
namespace {

using Lines = std::vector<std::string>;

class WindowTest : public EndToEndFixture {
 protected:
  void SetUp() override {
    startProgram();
    environment["DISPLAY"] = desk.displayName();
    startPhone({"--window"});
    ASSERT_TRUE(phone->prints("plays the multiplexing daemon")) << phone->output();
    hands->postMouseEvent({.location = {640, 400}});  // the middle of the screen
    ASSERT_TRUE(Program::within30Seconds([this] { return (window = pointer()->child) != XCB_NONE; }));
    placeWindow();
    ASSERT_TRUE(phone->prints("frames of 644x1398 arrive")) << program->output();
  }

  /// As a window manager would, which isn't there: the picture at its own size, between two bars. The screen shows its
  /// upper part.
  void placeWindow() {
    const std::uint32_t place[] = {0, 0, 644 + 2 * bar, 1398};
    xcb_configure_window(client->get(), window,
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         place);
    giveFocus(window);
  }
  void giveFocus(xcb_window_t receiver) const {
    xcb_set_input_focus(client->get(), XCB_INPUT_FOCUS_POINTER_ROOT, receiver, XCB_CURRENT_TIME);
    EXPECT_TRUE(pointer());  // the server has seen it
  }
  X11Reply<xcb_query_pointer_reply_t> pointer() const {
    return owned(xcb_query_pointer_reply(client->get(), xcb_query_pointer(client->get(), client->root()), nullptr));
  }

  /// The mouse over a pixel of the picture in the window.
  void mouse(MouseEventType type, double x, double y, MouseButton button = MouseButton::Left) {
    hands->postMouseEvent({.type = type, .location = {bar + x, y}, .button = button});
  }

  static constexpr std::uint32_t bar = 161;

  PrivateXServer desk;
  std::shared_ptr<X11Connection> client = X11Connection::open(desk.displayName());
  std::shared_ptr<ManualQueue> time = ManualQueue::make();
  // With a hand's patience: what a busy machine's server is too slow for would wait for the virtual time.
  std::shared_ptr<X11EventSystem> hands =
      std::make_shared<X11EventSystem>(time, std::make_shared<ManualClock>(time), desk.displayName(), /*patience=*/20);
  KeyboardInjector keys{nullptr, hands};
  xcb_window_t window = XCB_NONE;
};

TEST_F(WindowTest, WhatTheMouseDoesHappensOnTheDisplayUntilTheCableGoes) {
  const ClientProcess xev(server.displayName(),
                          {"xev", "-geometry", "644x1398+1280+0", "-event", "mouse", "-event", "structure"});
  ASSERT_TRUE(xev.prints("MapNotify")) << "package x11-utils";
  std::size_t skipped = 0;
  const auto expect = [&](const Lines& expected) {
    Lines seen;
    Program::within30Seconds([&] {
      seen = xevEvents(xev.output());
      seen.erase(seen.begin(), seen.begin() + static_cast<long>(std::min(skipped, seen.size())));
      return seen.size() >= expected.size();
    });
    EXPECT_EQ(seen, expected);
    skipped += seen.size();
  };
  const auto drag = [&] {
    mouse(MouseEventType::Moved, 10, 20);
    mouse(MouseEventType::LeftDown, 10, 20);
    expect({"motion 1290,20", "motion 1290,20", "button 1 press 1290,20"});
  };

  drag();
  mouse(MouseEventType::LeftDragged, 700, 600);  // over the bar at the picture's side
  mouse(MouseEventType::LeftUp, 700, 600);
  expect({"motion 1923,600 state 100", "motion 1923,600 state 100", "button 1 release 1923,600 state 100"});

  drag();
  giveFocus(XCB_INPUT_FOCUS_POINTER_ROOT);
  expect({"motion 1290,20 state 100", "button 1 release 1290,20 state 100"});
  mouse(MouseEventType::LeftUp, 10, 20);
  giveFocus(window);

  mouse(MouseEventType::RightDown, 300, 400, MouseButton::Right);
  mouse(MouseEventType::RightUp, 300, 400, MouseButton::Right);
  hands->postScrollEvent({.vertical = -100});
  expect({"motion 1580,400", "motion 1580,400", "motion 1580,400", "button 3 press 1580,400",
          "motion 1580,400 state 400", "button 3 release 1580,400 state 400", "motion 1580,400",
          "button 5 press 1580,400", "button 5 release 1580,400 state 1000", "motion 1580,400",
          "button 5 press 1580,400", "button 5 release 1580,400 state 1000"});

  drag();
  phone->end(SIGKILL);
  expect({"motion 1290,20 state 100", "button 1 release 1290,20 state 100"});
}

TEST_F(WindowTest, TheRunIsSummedUpWhenItsDisplayGoes) {
  desk.kill();
  EXPECT_EQ(phone->wait(), 0) << phone->output();
  EXPECT_GT(summary()["frames"], 0);
  environment["DISPLAY"] = "";
  environment["WAYLAND_DISPLAY"] = "";
  startPhone({"--window"});
  EXPECT_EQ(phone->wait(), 1);
  EXPECT_NE(phone->output().find("cannot open a window: there is no display"), std::string::npos) << phone->output();
}

TEST_F(WindowTest, WhatTheKeyboardTypesReachesATextField) {
  const DesktopClient gtk("field", {1280, 0, 644, 1398}, onX11(server.displayName()));
  ASSERT_TRUE(gtk.prints("ready\n")) << gtk.output();
  const std::string text = "Grüße, 你好 👍🏽 e\u0301";
  keys.typeText(text);
  time->drain();
  EXPECT_TRUE(gtk.prints("text " + text + "\n")) << gtk.output();
  for (const char* const key : {R"("a","modifiers":["cmd"])", R"("c")", R"("return")"}) {  // select all, replace it
    keys.handleKeyEvent(Data::copying(fmt::format(R"({{"action":"key","key":{}}})", key)));
  }
  time->drain();
  EXPECT_TRUE(gtk.prints("text c\nactivated\n")) << gtk.output();
}

}  // namespace
}  // namespace tandemview
