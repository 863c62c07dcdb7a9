#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "fakes/LogRecorder.h"
#include "fakes/ManualQueue.h"
#include "input/KeyboardInjector.h"
#include "input/TouchInjector.h"
#include "platform/linux/x11/display/X11DisplaySystem.h"
#include "platform/linux/x11/input/X11EventSystem.h"
#include "platform/linux/x11/server/X11Screens.h"
#include "support/ClientProcess.h"
#include "support/DesktopClient.h"
#include "support/PhysicalKeyboard.h"
#include "support/PrivateXServer.h"

namespace tandemview {

/// A screen of 1280x800, and beside it the phone's display of 644x1398, which the injectors act on. Without a window
/// manager, keys go to the window that the pointer is in.
struct X11InputFixture : testing::Test {
  X11InputFixture() {
    const bool isLit =
        display->applySettings({.modes = {{.width = 644, .height = 1398, .refreshRate = 60}}}) == ApplyOutcome::Applied;
    EXPECT_TRUE(isLit);
    touches.setDisplay(*display->displayID());
  }

  void touch(const std::string& mode, const std::string& type, double x, double y, const std::string& extra = "") {
    touches.handleTouchEvent(
        Data::copying(fmt::format(R"({{"type":"{}","x":{},"y":{},"mode":"{}"{}}})", type, x, y, mode, extra)));
    time->drain();
  }
  void gesture(const std::string& type, const std::string& direction) {
    touch("trackpad", type, 0, 0, fmt::format(R"(,"direction":"{}")", direction));
  }
  void pressKey(const std::string& key, const std::string& modifiers = "") {
    keys.handleKeyEvent(
        Data::copying(fmt::format(R"({{"action":"key","key":"{}","modifiers":[{}]}})", key, modifiers)));
    time->drain();
  }
  void type(const std::string& text) {
    keys.typeText(text);
    time->drain();
  }

  /// Different ones, none of which a keyboard has.
  static std::string chineseCharacters(char32_t count) {
    std::string result;
    for (char32_t character = U'\u4e00'; character < U'\u4e00' + count; ++character) {
      for (const char32_t byte : {0xE0 | character >> 12, 0x80 | (character >> 6 & 0x3F), 0x80 | (character & 0x3F)})
        result += static_cast<char>(byte);
    }
    return result;
  }

  /// The keymap of a desktop with these layouts.
  void setLayout(const std::string& layouts) const {
    ASSERT_TRUE(ClientProcess(server.displayName(),
                              {"setxkbmap", "-rules", "evdev", "-model", "pc105", "-option", "", "-layout", layouts})
                    .wait() == 0)
        << "package x11-xkb-utils";
  }

  /// `xev` on the whole of the phone's display, with the pointer in it.
  std::unique_ptr<ClientProcess> startXev(const Lines& kinds) {
    Lines command = {"xev", "-geometry", "644x1398+1280+0"};
    for (const std::string& kind : kinds) command.insert(command.end(), {"-event", kind});
    touch("direct", "move", 0.5, 0.5);  // before it can see that
    auto xev = std::make_unique<ClientProcess>(server.displayName(), command);
    EXPECT_TRUE(Program::within30Seconds([this] { return windowUnderPointer() != XCB_NONE; }))
        << "xev (package x11-utils)";
    return xev;
  }

  /// A text field, with the pointer in it.
  std::unique_ptr<DesktopClient> startField() {
    auto field =
        std::make_unique<DesktopClient>("field", PixelRectangle{1280, 0, 644, 1398}, onX11(server.displayName()));
    touch("direct", "move", 0.5, 0.15);
    EXPECT_TRUE(field->prints("ready\n")) << field->output();
    return field;
  }

  xcb_window_t windowUnderPointer() const { return pointer()->child; }
  X11Reply<xcb_query_pointer_reply_t> pointer() const {
    return owned(xcb_query_pointer_reply(client->get(), xcb_query_pointer(client->get(), client->root()), nullptr));
  }

  /// The symbols of every key code.
  std::vector<xcb_keysym_t> keyboardMapping() const {
    const xcb_setup_t& setup = *xcb_get_setup(client->get());
    const auto count = static_cast<std::uint8_t>(setup.max_keycode - setup.min_keycode + 1);
    const auto reply = owned(xcb_get_keyboard_mapping_reply(
        client->get(), xcb_get_keyboard_mapping(client->get(), setup.min_keycode, count), nullptr));
    const xcb_keysym_t* const symbols = xcb_get_keyboard_mapping_keysyms(reply.get());
    return {symbols, symbols + xcb_get_keyboard_mapping_keysyms_length(reply.get())};
  }

  /// Virtual time stands still while a busy machine's server is slow.
  static constexpr double patience = 20;  // seconds

  LogRecorder log;
  PhysicalKeyboard keyboard;
  PrivateXServer server{keyboard.configuration()};
  std::shared_ptr<X11Connection> client = X11Connection::open(server.displayName());
  X11DisplaySystem displays{server.displayName()};
  std::shared_ptr<VirtualDisplay> display = displays.makeVirtualDisplay({}).display;
  std::shared_ptr<ManualQueue> time = ManualQueue::make();
  std::shared_ptr<MediaClock> clock = std::make_shared<ManualClock>(time);
  std::shared_ptr<X11EventSystem> events =
      std::make_shared<X11EventSystem>(time, clock, server.displayName(), patience);
  TouchInjector touches{{}, {events, std::make_shared<X11Screens>(server.displayName()), clock}};
  KeyboardInjector keys{nullptr, events};
};

}  // namespace tandemview
