#include "companion/Script.h"

#include <gtest/gtest.h>

namespace tandemview {
namespace {

using Kind = ScriptAction::Kind;

TEST(ScriptTest, ReadsEveryAction) {
  const auto script = parseScript(
      "# what the phone does\n"
      "\n"
      "5 quit\r\n"
      "0 info\n"
      "  0.5\tping  \n"
      "1 touch {\"type\": \"tap\", \"x\": 0.5}\n"
      "1 key {\"kind\": \"key\"}\n"
      "1 rotate\n"
      "1 quality very sharp\n"
      "1e0 size 640x480\n"
      "2 detach\n"
      "2 attach 7\n"
      "2 hangup\n"
      "3 refuse 3\n"
      "3 stall 1.5\n"
      "4 raw 104 00fFa0\n"
      "4 raw 99\n"
      "4 silent 2\n"
      "4 announce 1000001");
  ASSERT_TRUE(script.has_value()) << script.error();
  std::vector<Kind> kinds;
  for (const ScriptAction& action : *script) kinds.push_back(action.kind);
  const std::vector<Kind> expected = {Kind::info,     Kind::ping,  Kind::touch,  Kind::key,    Kind::rotate,
                                      Kind::quality,  Kind::size,  Kind::detach, Kind::attach, Kind::hangUp,
                                      Kind::refuse,   Kind::stall, Kind::raw,    Kind::raw,    Kind::silent,
                                      Kind::announce, Kind::quit};
  ASSERT_EQ(kinds, expected);
  EXPECT_EQ(script->at(1).time, 0.5);
  EXPECT_EQ(script->at(2).text, "{\"type\": \"tap\", \"x\": 0.5}");
  EXPECT_EQ(script->at(5).text, "very sharp");
  EXPECT_EQ(script->at(6).size, (FrameSize{640, 480}));
  EXPECT_EQ(script->at(7).number, std::nullopt);
  EXPECT_EQ(script->at(8).number, 7U);
  EXPECT_EQ(script->at(11).seconds, 1.5);
  EXPECT_EQ(script->at(12).number, 104U);
  EXPECT_EQ(script->at(12).text, std::string("\x00\xFF\xA0", 3));
  EXPECT_EQ(script->at(12).line, "raw 104 00fFa0");
  EXPECT_EQ(script->at(13).text, "");
  EXPECT_EQ(script->at(14).seconds, 2);
  EXPECT_EQ(script->at(15).number, 1000001U);
}

TEST(ScriptTest, NamesTheLineOfAnError) {
  const std::pair<const char*, const char*> cases[] = {
      {"soon quit", "a line starts with a time in seconds"},
      {"-1 quit", "a line starts with a time in seconds"},
      {"nan quit", "a line starts with a time in seconds"},
      {"1s quit", "a line starts with a time in seconds"},
      {"1", "there is no action \"\""},
      {"1 dance", "there is no action \"dance\""},
      {"1 quit now", "quit takes nothing"},
      {"1 touch [1]", "touch takes a JSON object"},
      {"1 key {", "key takes a JSON object"},
      {"1 size 640", "size takes a size such as 1290x2796"},
      {"1 size 640x99999999999999999999", "size takes a size such as 1290x2796"},
      {"1 size 0x480", "size takes a size such as 1290x2796"},
      {"1 attach 4294967296", "attach takes a device's number or nothing"},
      {"1 refuse", "refuse takes a result's number"},
      {"1 stall inf", "stall takes seconds"},
      {"1 raw 104 0", "raw takes a frame type and bytes in hexadecimal"},
      {"1 raw 104 +1", "raw takes a frame type and bytes in hexadecimal"},
      {"1 raw", "raw takes a frame type and bytes in hexadecimal"},
  };
  for (const auto& [line, error] : cases) {
    const auto script = parseScript("0 info\n# nothing\n" + std::string(line) + "\n2 quit");
    ASSERT_FALSE(script.has_value()) << line;
    EXPECT_EQ(script.error(), "line 3: " + std::string(error));
  }
}

}  // namespace
}  // namespace tandemview
