#include "input/KeyboardInjector.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "fakes/LogRecorder.h"
#include "fakes/RecordingEventSystem.h"
#include "protocol/Message.h"

namespace tandemview {
namespace {

/// A press as the event system records it, down and up.
Lines press(int keyCode, const std::string& rest) {
  return {fmt::format("key {} down{} source 1", keyCode, rest), fmt::format("key {} up{} source 1", keyCode, rest)};
}

struct KeyboardInjectorTest : testing::Test {
  void send(const std::string& payload) { injector.handleKeyEvent(Data::copying(payload)); }
  Lines eventsOf(const std::string& payload) {
    send(payload);
    EXPECT_TRUE(events->heldKeys().empty());
    return events->take();
  }

  LogRecorder log;
  std::shared_ptr<RecordingEventSystem> events = std::make_shared<RecordingEventSystem>();
  KeyboardInjector injector{events->makeEventSource(), events};
};

TEST_F(KeyboardInjectorTest, PressesKeys) {
  const struct {
    const char* payload;
    Lines expected;
  } cases[] = {
      {R"({"action":"key","key":"Return"})", press(36, " flags 0x0")},
      {R"({"action":"key","key":"c","modifiers":["cmd"]})", press(8, " flags 0x100000")},
      {R"({"action":"key","key":"c","modifiers":["cmd","Shift","hyper"]})", press(8, " flags 0x100000")},
      {R"({"action":"key","key":"UP","modifiers":["cmd","shift","option","control","cmd"]})",
       press(126, " flags 0x1e0000")},
      {R"({"action":"key","key":"a","modifiers":["cmd",1]})", press(0, " flags 0x0")},
      {R"({"action":"key","key":"a","modifiers":{"cmd":true}})", press(0, " flags 0x0")},
      {R"({"action":"key","key":"A"})", press(0, " flags 0x0")},
      {"{\"action\":\"key\",\"key\":\"\u212A\"}", press(40, " flags 0x0")},  // the Kelvin sign's lower case is a k
      {R"({"action":"key","key":"\u00c9","modifiers":["option"]})", press(0, " flags 0x80000 text 00e9")},
      {R"({"action":"key","key":"!"})", press(0, " flags 0x0 text 0021")},
      {R"({"action":"key","key":" "})", press(0, " flags 0x0 text 0020")},
      {R"({"action":"key","key":"e\u0301"})", press(0, " flags 0x0 text 0065 0301")},
      {R"({"action":"key","key":"f5"})", {}},
      {R"({"action":"key","key":""})", {}},
      {R"({"action":"key","key":7,"text":"a"})", {}},
      {R"({"action":"key"})", {}},
  };
  for (const auto& each : cases) EXPECT_EQ(eventsOf(each.payload), each.expected) << each.payload;
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(KeyboardInjectorTest, KnowsEveryKeyOfTheLayout) {
  // The characters in the order of their codes from 0; a dot-circle holds the place of a code that types nothing here.
  const std::u32string characters = U"asdfhgzxcv◌bqweryt123465=97-80]ou[ip◌lj'k;\\,/nm.◌◌`";
  for (std::size_t keyCode = 0; keyCode < characters.size(); ++keyCode) {
    if (characters[keyCode] == U'◌') continue;
    injector.pressKey(std::string(1, static_cast<char>(characters[keyCode])), EventFlag::none);
    EXPECT_EQ(events->take(), press(static_cast<int>(keyCode), " flags 0x0"));
  }
  const std::pair<const char*, int> named[] = {{"return", 36}, {"enter", 36},     {"tab", 48},    {"space", 49},
                                               {"delete", 51}, {"backspace", 51}, {"escape", 53}, {"left", 123},
                                               {"right", 124}, {"down", 125},     {"up", 126}};
  for (const auto& [name, keyCode] : named) {
    injector.pressKey(name, EventFlag::none);
    EXPECT_EQ(events->take(), press(keyCode, " flags 0x0")) << name;
  }
}

TEST_F(KeyboardInjectorTest, TypesTextCharacterByCharacterWithoutFlags) {
  const Lines expected = {"key 0 down text 0068 source 1",      "key 0 up text 0068 source 1",
                          "key 0 down text 00e9 source 1",      "key 0 up text 00e9 source 1",
                          "key 0 down text d83d dc4d source 1", "key 0 up text d83d dc4d source 1"};
  EXPECT_EQ(eventsOf(R"({"action":"text","text":"h\u00e9\ud83d\udc4d","modifiers":["cmd"]})"), expected);
  EXPECT_EQ(eventsOf(R"({"action":"text","text":"\u0000"})"), press(0, " text 0000"));
  EXPECT_EQ(eventsOf(R"({"action":"text","text":""})"), Lines{});
  KeyboardInjector(nullptr, events).typeText("a");
  EXPECT_EQ(events->take(), (Lines{"key 0 down text 0061", "key 0 up text 0061"}));
  EXPECT_EQ(eventsOf(R"({"action":"text","text":["a"]})"), Lines{});
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(KeyboardInjectorTest, DropsWhatItCannotRead) {
  const std::string tooLong = R"({"action":"text","text":")" + std::string(MacProtocol::longestMessage, 'a') + "\"}";
  for (const std::string& payload : Lines{"", "key", R"(["action"])", R"({"key":"a"})", R"({"action":1,"key":"a"})",
                                          "{\"action\":\"text\",\"text\":\"\xff\"}",
                                          R"({"action":"text","text":"\ud83d"})", std::string(200'000, '['), tooLong}) {
    EXPECT_EQ(eventsOf(payload), Lines{});
    EXPECT_EQ(log.take(), Lines{"⚠️ KeyboardInjector: invalid key event data"}) << payload.substr(0, 60);
  }
  EXPECT_EQ(eventsOf(R"({"action":"paste"})"), Lines{});
  EXPECT_EQ(log.take(), Lines{"⚠️ KeyboardInjector: unknown action paste"});
}

}  // namespace
}  // namespace tandemview
