#include "companion/Script.h"

#include <gtest/gtest.h>

namespace tandemview {
namespace {

using Kind = ScriptAction::Kind;

TEST(ScriptTest, ReadsEveryAction) {
  const struct {
    const char* line;
    double time;
    Kind kind;
    std::string text = {};
    std::optional<std::uint32_t> number = {};
    double seconds = 0;
    FrameSize size = {};
    double scale = 0;
  } rows[] = {{"0 info", 0, Kind::info},
              {"  0.5\tping  ", 0.5, Kind::ping},
              {R"(1 touch {"type": "tap", "x": 0.5})", 1, Kind::touch, R"({"type": "tap", "x": 0.5})"},
              {R"(1 key {"kind": "key"})", 1, Kind::key, R"({"kind": "key"})"},
              {"1 rotate", 1, Kind::rotate},
              {"1 quality very sharp", 1, Kind::quality, "very sharp"},
              {"1e0 size 640x480", 1, Kind::size, "", {}, 0, {640, 480}},
              {"2 detach", 2, Kind::detach},
              {"2 attach 7", 2, Kind::attach, "", 7},
              {"2 hangup\r", 2, Kind::hangUp},
              {"3 refuse 3", 3, Kind::refuse, "", 3},
              {"3 stall 1.5", 3, Kind::stall, "", {}, 1.5},
              {"4 raw 104 00fFa0", 4, Kind::raw, std::string("\x00\xFF\xA0", 3), 104},
              {"4 raw 99", 4, Kind::raw, "", 99},
              {"4 silent 2", 4, Kind::silent, "", {}, 2},
              {"4 announce 1000001", 4, Kind::announce, "", 1000001},
              {"4 scale 2.5", 4, Kind::scale, "", {}, 0, {}, 2.5},
              {"4 idiom pad", 4, Kind::idiom, "pad"},
              {"4 fullresolution on", 4, Kind::fullResolution, "", 1},
              {"4 frame 10", 4, Kind::waitForFrame, "", {}, 10}};
  std::string lines = "# what the phone does\n\n5 quit";
  for (const auto& row : rows) lines += std::string("\n") + row.line;
  const auto script = parseScript(lines);
  ASSERT_TRUE(script.has_value()) << script.error();
  ASSERT_EQ(script->size(), std::size(rows) + 1);
  EXPECT_EQ(script->back().kind, Kind::quit) << "in the order of their times";
  for (std::size_t index = 0; index < std::size(rows); ++index) {
    const auto& [line, time, kind, text, number, seconds, size, scale] = rows[index];
    const ScriptAction& action = script->at(index);
    EXPECT_EQ(std::tie(action.time, action.kind, action.text, action.number, action.seconds, action.size, action.scale),
              std::tie(time, kind, text, number, seconds, size, scale))
        << line;
  }
  EXPECT_EQ(script->at(12).line, "raw 104 00fFa0");
}

TEST(ScriptTest, NamesTheLineOfAnError) {
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {"a line starts with a time in seconds", {"soon quit", "-1 quit", "nan quit", "1s quit"}},
      {"there is no action \"\"", {"1"}},
      {"there is no action \"dance\"", {"1 dance"}},
      {"quit takes nothing", {"1 quit now"}},
      {"touch takes a JSON object", {"1 touch [1]"}},
      {"key takes a JSON object", {"1 key {"}},
      {"size takes a size such as 1290x2796", {"1 size 640", "1 size 640x99999999999999999999", "1 size 0x480"}},
      {"attach takes a device's number or nothing", {"1 attach 4294967296"}},
      {"refuse takes a result's number", {"1 refuse"}},
      {"stall takes seconds", {"1 stall inf"}},
      {"scale takes a number above 0", {"1 scale 0"}},
      {"fullresolution takes on or off", {"1 fullresolution"}},
      {"raw takes a frame type and bytes in hexadecimal", {"1 raw 104 0", "1 raw 104 +1", "1 raw"}},
  };
  for (const auto& [error, lines] : cases) {
    for (const std::string& line : lines) {
      const auto script = parseScript("0 info\n# nothing\n" + line + "\n2 quit");
      ASSERT_FALSE(script.has_value()) << line;
      EXPECT_EQ(script.error(), "line 3: " + std::string(error));
    }
  }
}

}  // namespace
}  // namespace tandemview
