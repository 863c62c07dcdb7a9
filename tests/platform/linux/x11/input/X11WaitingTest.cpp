#include <xcb/xcbext.h>
#include "platform/linux/x11/input/X11EventInput.h"
#include "platform/linux/x11/input/X11InputFixture.h"

namespace tandemview {
namespace {

/// The server serves this connection only when the others have left it nothing to do.
void giveWay(const X11Connection& connection) {
  struct {
    std::uint8_t major = 0, minor = 0;
    std::uint16_t length = 0;
    std::uint32_t ownConnection = XCB_NONE;
    std::int32_t priority = -1;
  } request;
  static xcb_extension_t sync = {"SYNC", 0};
  constexpr std::uint8_t setPriority = 12;
  const xcb_protocol_request_t protocol = {.count = 1, .ext = &sync, .opcode = setPriority, .isvoid = 1};
  iovec parts[3] = {{}, {}, {&request, sizeof(request)}};  // the first two are the library's own
  xcb_send_request(connection.get(), /*flags=*/0, parts + 2, &protocol);
}

/// On the keymap of a real desktop few key codes are free: most of a Chinese text waits for one.
struct X11WaitingTest : X11InputFixture {
  X11WaitingTest() {
    setLayout("us");
    giveWay(*client);
  }

  /// The presses that `xev` has seen of all that was posted until now, "key" for each character and the clicks as they
  /// are.
  Lines seen(const ClientProcess& xev) {
    constexpr std::uint8_t f12 = 96;
    ++marks;
    postInput(*client, XCB_KEY_PRESS, f12);
    postInput(*client, XCB_KEY_RELEASE, f12);
    xcb_flush(client->get());
    Lines lines;
    EXPECT_TRUE(Program::within30Seconds([&] {
      lines = xevEvents(xev.output());
      return std::ranges::count_if(lines, [](const auto& line) { return line.starts_with("release F12"); }) == marks;
    }));
    std::erase_if(lines, [](const std::string& line) {
      return line.find("press") == std::string::npos || line.starts_with("press F12");
    });
    for (std::string& line : lines) {
      if (line.starts_with("press")) line = "key";
    }
    return lines;
  }

  /// Whether a "z" arrives that was typed. What it waits for is served meanwhile.
  bool seesZ(const ClientProcess& xev) {
    return Program::within30Seconds([&] {
      time->drain();
      return xev.output().find("keysym 0x7a, z") != std::string::npos;
    });
  }

  long marks = 0;
};

TEST_F(X11WaitingTest, ALongTextLeavesRoomForOtherWork) {
  const auto xev = startXev({"keyboard"});
  keys.typeText(std::string(900'000, 'a'));
  bool hasRun = false;
  time->async([&] {
    hasRun = true;
    events->discardWaitingEvents();
  });
  time->drain();
  EXPECT_TRUE(hasRun);
  keys.typeText("z");
  ASSERT_TRUE(seesZ(*xev));
  const auto count = std::ranges::count(xevEvents(xev->output()), "press a");
  EXPECT_GE(count, 1);
  EXPECT_LE(count, 100);
}

TEST_F(X11WaitingTest, MovementsAndTheWheelDontWaitForCharactersAndClicksKeepTheirPlace) {
  const auto xev = startXev({"mouse", "keyboard"});
  type(chineseCharacters(60));
  touch("direct", "move", 0.25, 0.25);
  EXPECT_TRUE(Program::within30Seconds([&] { return pointer()->root_x == 1441 && pointer()->root_y == 349; }));
  events->postScrollEvent({.vertical = 50});
  const auto first = std::ranges::count(seen(*xev), "key");
  EXPECT_LT(first, 60);
  EXPECT_EQ(seen(*xev).back(), "button 4 press 1441,349");

  touch("direct", "tap", 10.0 / 644, 20.0 / 1398);
  for (int count = 0; count < 10; ++count) touch("trackpad", "move", 1.0 / 644, 0);
  events->postScrollEvent({.vertical = 50});
  touch("trackpad", "rightclick", 0, 0);
  EXPECT_EQ(events->pointerLocation(), (ScreenPoint{1300, 20})) << "where the waiting events will take it";
  EXPECT_EQ(pointer()->root_x, 1441);
  time->advance(4);
  Lines expected(60, "key");
  expected.insert(expected.begin() + first, "button 4 press 1441,349");
  expected.insert(expected.end(), {"button 1 press 1290,20", "button 4 press 1300,20", "button 3 press 1300,20"});
  EXPECT_EQ(seen(*xev), expected);
}

TEST_F(X11WaitingTest, AClickWaitsForAFewSecondsThenTheCharactersBeforeItAreDropped) {
  const auto xev = startXev({"mouse", "keyboard"});
  log.take();
  type(chineseCharacters(1000));
  touch("direct", "tap", 10.0 / 644, 20.0 / 1398);
  type("z");
  time->advance(4.9);
  EXPECT_EQ(std::ranges::count_if(seen(*xev), [](const std::string& line) { return line != "key"; }), 0);
  time->advance(1.2);
  const Lines lines = seen(*xev);
  EXPECT_LT(lines.size(), 300U);
  EXPECT_EQ(Lines(lines.end() - 2, lines.end()), (Lines{"button 1 press 1290,20", "key"}));
  EXPECT_TRUE(seesZ(*xev));
  const Lines printed = log.take();
  EXPECT_NE(printed.back().find("characters were dropped"), std::string::npos) << printed.back();
}

TEST_F(X11WaitingTest, WhatWaitsCanBeDroppedAndLeavesNoButtonDown) {
  const auto xev = startXev({"mouse", "keyboard"});
  touch("direct", "drag", 0.5, 0.5, R"(,"phase":"began")");
  type(chineseCharacters(100));
  touch("direct", "drag", 0.4, 0.5, R"(,"phase":"ended")");
  touch("direct", "tap", 0.4, 0.5);
  const auto before = seen(*xev).size();
  EXPECT_EQ(pointer()->mask, XCB_BUTTON_MASK_1);
  events->discardWaitingEvents();
  time->advance(20);
  EXPECT_EQ(seen(*xev).size(), before);
  EXPECT_EQ(pointer()->mask, 0);

  // A flood of clicks is no hand's: it doesn't pile up.
  type(chineseCharacters(100));
  for (int count = 0; count < 2200; ++count) {
    events->postMouseEvent({.type = MouseEventType::LeftDown, .location = {1300, 30}, .button = MouseButton::Left});
    events->postMouseEvent({.type = MouseEventType::LeftUp, .location = {1300, 30}, .button = MouseButton::Left});
  }
  time->advance(20);
  EXPECT_LT(seen(*xev).size(), before + 1000);
  EXPECT_EQ(pointer()->mask, 0);
  type("z");
  EXPECT_TRUE(seesZ(*xev));
}

}  // namespace
}  // namespace tandemview
