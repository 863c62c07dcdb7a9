#include <xcb/xinput.h>

#include <cstdlib>
#include <fstream>

#include "platform/linux/x11/input/X11EventInput.h"
#include "platform/linux/x11/input/X11InputFixture.h"
#include "platform/linux/x11/input/X11KeyXkb.h"
#include "support/Chord.h"

namespace tandemview {
namespace {

struct X11KeyTest : X11InputFixture {
  X11KeyTest() {
    const auto cookie = xcb_xkb_use_extension(client->get(), XCB_XKB_MAJOR_VERSION, XCB_XKB_MINOR_VERSION);
    EXPECT_TRUE(owned(xcb_xkb_use_extension_reply(client->get(), cookie, nullptr)));
  }

  void pressCapsLock() const {
    constexpr std::uint8_t capsLock = 66;
    postInput(*client, XCB_KEY_PRESS, capsLock);
    postInput(*client, XCB_KEY_RELEASE, capsLock);
    EXPECT_TRUE(pointer());  // the server has seen it
  }

  /// Switches to one of the user's layouts.
  void lockGroup(std::uint8_t group) const {
    xcb_xkb_latch_lock_state(client->get(), XCB_XKB_ID_USE_CORE_KBD, 0, 0, /*lockGroup=*/1, group, 0, 0, 0);
    EXPECT_EQ(lockedGroup(), group);
  }
  int lockedGroup() const {
    const auto cookie = xcb_xkb_get_state(client->get(), XCB_XKB_ID_USE_CORE_KBD);
    const auto state = owned(xcb_xkb_get_state_reply(client->get(), cookie, nullptr));
    return state ? state->lockedGroup : -1;
  }

  std::string keyboardID() const {
    const auto reply = owned(xcb_input_xi_query_device_reply(
        client->get(), xcb_input_xi_query_device(client->get(), XCB_INPUT_DEVICE_ALL), nullptr));
    for (auto device = xcb_input_xi_query_device_infos_iterator(reply.get()); device.rem > 0;
         xcb_input_xi_device_info_next(&device)) {
      if (std::string_view(xcb_input_xi_device_info_name(device.data), device.data->name_len) == "keyboard")
        return std::to_string(device.data->deviceid);
    }
    return "";
  }

  /// The last text of the field, once it is as expected, or for too long isn't.
  static std::string fieldText(const Program& gtk, const std::string& expected) {
    std::string text;
    Program::within30Seconds([&] {
      const std::string output = gtk.output();
      const std::size_t start = output.rfind("text ");
      if (start != std::string::npos) text = output.substr(start + 5, output.find('\n', start) - start - 5);
      return text == expected;
    });
    return text;
  }
};

TEST_F(X11KeyTest, WhatTheDesktopTakesArrivesAsItsOwnShortcut) {
  const auto xev = startXev({"keyboard"});
  const auto towards = [this](const char* desktop, const char* type, const char* direction) {
    ::setenv("XDG_CURRENT_DESKTOP", desktop, 1);
    gesture(type, direction);
    ::unsetenv("XDG_CURRENT_DESKTOP");
  };
  pressKey("tab", R"("cmd")");
  towards("", "swipe", "right");
  towards("", "swipe", "up");
  towards("", "gesture", "showdesktop");
  towards("ubuntu:KDE", "gesture", "launchpad");
  towards("ubuntu:KDE", "swipe", "right");
  towards("", "gesture", "launchpad");
  pressKey("space");  // with nothing held
  Lines expected;
  for (const char* shortcut : {"Alt_L 8 Tab", "Control_L 4 Alt_L c Left", "Super_L 40", "Super_L 40 d", "Super_L 40",
                               "Control_L 4 Super_L 44 Left", "space"}) {
    const Lines lines = chord(shortcut);
    expected.insert(expected.end(), lines.begin(), lines.end());
  }
  Program::within30Seconds([&] { return xevEvents(xev->output()).size() >= expected.size(); });
  EXPECT_EQ(xevEvents(xev->output()), expected);
}

TEST_F(X11KeyTest, AShortcutGoesToTheKeyThatBearsItsCharacter) {
  struct Row {
    const char* layout;
    const char* key;
    const char* symbol;
  };
  const Row rows[] = {{"fr", "a", "a"},
                      {"fr", "1", "ampersand"},  // no key bears it without Shift: the place
                      {"ru,us", "c", "Cyrillic_es"}};
  for (const Row& row : rows) {
    setLayout(row.layout);
    const auto xev = startXev({"keyboard"});
    pressKey(row.key, R"("option")");
    const std::string expected = fmt::format("press {} state 8", row.symbol);
    EXPECT_TRUE(Program::within30Seconds([&] { return std::ranges::count(xevEvents(xev->output()), expected) == 1; }))
        << row.layout << " " << row.key << "\n"
        << xev->output();
  }
}

TEST_F(X11KeyTest, WhatTheUserHoldsChangesNothing) {
  setLayout("de");
  constexpr std::uint8_t leftShift = 50, leftControl = 37, levelThree = 108, super = 133;
  const auto xev = startXev({"button"});
  std::size_t seen = 0;
  for (const std::vector<std::uint8_t>& held :
       {std::vector{leftShift}, {leftControl}, {levelThree}, {super}, {leftShift, leftControl}}) {
    SCOPED_TRACE(held.front());
    for (const std::uint8_t key : held) keyboard.press(key);
    const auto mask = pointer()->mask;
    EXPECT_NE(mask, 0);
    touch("direct", "tap", 20.0 / 644, 1300.0 / 1398);
    events->postScrollEvent({.vertical = -50});
    const Lines expected = {"button 1 press 1300,1300", "button 1 release 1300,1300 state 100",
                            "button 5 press 1300,1300", "button 5 release 1300,1300 state 1000"};
    Program::within30Seconds([&] { return xevEvents(xev->output()).size() >= seen + expected.size(); });
    const Lines all = xevEvents(xev->output());
    EXPECT_EQ(Lines(all.begin() + static_cast<long>(seen), all.end()), expected);
    seen = all.size();

    const auto gtk = startField();
    type("aBc{y}Z 你ß!");
    pressKey("return");
    EXPECT_TRUE(gtk->prints("text aBc{y}Z 你ß!\nactivated")) << gtk->output();
    EXPECT_EQ(pointer()->mask, mask) << "it is held as before";
    for (const std::uint8_t key : held) keyboard.release(key);
    EXPECT_EQ(pointer()->mask, 0);
  }
  // Held by another program.
  postInput(*client, XCB_KEY_PRESS, leftControl);
  const auto gtk = startField();
  type("aZ");
  EXPECT_EQ(fieldText(*gtk, "aZ"), "aZ");
  EXPECT_EQ(pointer()->mask, XCB_MOD_MASK_CONTROL);
}

TEST_F(X11KeyTest, TheKeysThatArePressedMeanWhatTheirOwnKeyboardSays) {
  // The user's keyboard has another layout than the one that no hand touches.
  ASSERT_TRUE(ClientProcess(server.displayName(), {"setxkbmap", "-device", keyboardID(), "-layout", "de"}).wait() == 0);
  const auto gtk = startField();
  constexpr std::uint8_t y = 29;
  keyboard.press(y);
  keyboard.release(y);
  ASSERT_EQ(fieldText(*gtk, "z"), "z");
  type("yz (ä)");
  EXPECT_EQ(fieldText(*gtk, "zyz (ä)"), "zyz (ä)");
}

TEST_F(X11KeyTest, KeysThatNoKeyboardHasAreTheLastChoice) {
  setLayout("us");
  const auto xev = startXev({"keyboard"});
  type("(");
  ASSERT_TRUE(xev->prints("keysym 0x28, parenleft"));
  EXPECT_EQ(xevEvents(xev->output()), (Lines{"press Shift_L", "press parenleft state 1", "release parenleft state 1",
                                             "release Shift_L state 1"}));
}

constexpr const char* layouts[] = {"us", "de", "fr", "us,ru"};
constexpr const char* text = "Grüße, 你好 👍🏽 e\u0301 @€{~}^`´ Ünïcödé ŁŐщ";

TEST_F(X11KeyTest, AnyTextReachesATextFieldWhateverTheLayout) {
  for (const char* const layout : layouts) {
    SCOPED_TRACE(layout);
    setLayout(layout);
    const auto mapping = keyboardMapping();
    for (const bool hasCapsLock : {false, true}) {
      SCOPED_TRACE(hasCapsLock);
      const auto gtk = startField();
      if (hasCapsLock) pressCapsLock();
      type(text);
      EXPECT_EQ(fieldText(*gtk, text), text);
      EXPECT_EQ(pointer()->mask & XCB_MOD_MASK_LOCK, hasCapsLock ? XCB_MOD_MASK_LOCK : 0);
      if (hasCapsLock) pressCapsLock();
    }
    EXPECT_NE(keyboardMapping(), mapping);
    time->advance(6);
    EXPECT_TRUE(Program::within30Seconds([&] { return keyboardMapping() == mapping; }))
        << "what was borrowed is given back";
  }
}

TEST_F(X11KeyTest, TextGoesToWhicheverLayoutOfTheUserHasIt) {
  setLayout("us,ru,de");
  const auto mapping = keyboardMapping();
  std::string mixed = "Съешь ещё этих мягких булок. ";
  while (mixed.size() < 1000) mixed += "The quick brown fox (jumps) over grüne Äpfel! ";
  for (const std::uint8_t group : {1, 2, 0}) {
    const auto gtk = startField();
    lockGroup(group);
    type(mixed);
    EXPECT_EQ(fieldText(*gtk, mixed), mixed);
    EXPECT_EQ(lockedGroup(), group);
  }
  EXPECT_EQ(keyboardMapping(), mapping) << "nothing had to be borrowed";
}

TEST_F(X11KeyTest, AnyTextReachesATerminalWhateverTheLayout) {
  const TemporaryDirectory directory;
  for (const char* const layout : layouts) {
    SCOPED_TRACE(layout);
    setLayout(layout);
    const std::string path = directory.path() + "/" + layout;
    const ClientProcess terminal(server.displayName(),
                                 {"xterm", "-u8", "-geometry", "60x10+1380+600", "-e", "sh", "-c", "cat > " + path});
    touch("direct", "move", 0.3, 0.47);
    ASSERT_TRUE(Program::within30Seconds([this] { return windowUnderPointer() != XCB_NONE; })) << "package xterm";
    type(std::string(text) + "\r\n");
    std::string line;
    Program::within30Seconds([&] { return std::getline(std::ifstream(path), line) && line == text; });
    EXPECT_EQ(line, text);
  }
}

TEST_F(X11KeyTest, MoreCharactersThanThereAreUnusedKeysArriveInOrder) {
  const std::string expected = chineseCharacters(200) + chineseCharacters(200);
  const auto gtk = startField();
  type(expected);
  // Time goes on when the field has seen all that was typed: on a busy machine that takes longer than a key is lent.
  constexpr std::uint8_t enter = 36;
  for (int seconds = 1; seconds < 20; ++seconds) {
    EXPECT_TRUE(events->pointerLocation());  // the server has done all of it
    postInput(*client, XCB_KEY_PRESS, enter);
    postInput(*client, XCB_KEY_RELEASE, enter);
    xcb_flush(client->get());
    ASSERT_TRUE(gtk->prints("activated", seconds));
    time->advance(1);
  }
  EXPECT_EQ(fieldText(*gtk, expected), expected);
}

}  // namespace
}  // namespace tandemview
