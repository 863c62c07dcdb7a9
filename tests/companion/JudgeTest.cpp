// The companion as a program, judging hosts that the tests play: what they do wrong is told by the exit status and the
// summary, by kind.

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>

#include "companion/NoiseJpeg.h"
#include "companion/PlayedHost.h"
#include "end_to_end/Program.h"

namespace tandemview {
namespace {

using Lines = std::vector<std::string>;

constexpr FrameSize phoneSize{640, 1280};
constexpr FrameSize frameSize{320, 640};

class JudgeTest : public testing::Test {
 protected:
  Lines command(const Lines& options) const {
    Lines result = {TANDEMVIEW_COMPANION};
    result.insert(result.end(), options.begin(), options.end());
    return result;
  }
  std::string path(const std::string& name) const { return directory.path() + "/" + name; }

  TemporaryDirectory directory;
};

TEST_F(JudgeTest, TellsSoundHostsFromBrokenOnes) {
  const std::string image = noiseJpeg(frameSize, 1);
  std::string damaged = image;
  damaged.replace(image.size() - 2000, 200, 200, '\0');
  const auto meet = [](const PlayedHost& host) {
    host.greet();
    host.answerPing();
  };
  const struct {
    const char* name;
    std::function<void(const PlayedHost&)> play;
    Lines kinds;
    int frames;
    double clockOffset = 0;
    Lines options = {};
    const char* printed = "";  // before the host goes, if it waits for something
  } rows[] = {
      {"sound",
       [&](const PlayedHost& host) { meet(host), host.send(host.frame(image)), host.send(host.frame(image)); },
       {},
       2},
      {"booted earlier", [&](const PlayedHost& host) { meet(host), host.send(host.frame(image)); }, {}, 1, 5000},
      {"booted later", [&](const PlayedHost& host) { meet(host), host.send(host.frame(image)); }, {}, 1, -5000},
      {"no pong as yet", [&](const PlayedHost& host) { host.greet(), host.send(host.frame(image)); }, {}, 1, 5000},
      {"a frame of the future",
       [&](const PlayedHost& host) { meet(host), host.send(host.frame(image, 1)); },
       {"timestamp"},
       1},
      {"damaged at its end",
       [&](const PlayedHost& host) { meet(host), host.send(host.frame(damaged)); },
       {"picture"},
       1},
      {"another size",
       [&](const PlayedHost& host) {
         meet(host), host.send(host.frame(noiseJpeg({640, 320}, 1)));
       },
       {"size"},
       1},
      {"words missing",
       [&](const PlayedHost& host) {
         host.send(PlayedHost::message(106, R"({"kind":"macInfo"})")), host.send(host.frame(image));
       },
       {"Mac info"},
       1},
      {"another version",
       [&](const PlayedHost& host) { meet(host), host.send(PlayedHost::message(101, "x", 2)); },
       {"link"},
       0},
      {"gone within a frame",
       [&](const PlayedHost& host) { meet(host), host.send(host.frame(image).substr(0, 900)); },
       {"link"},
       0},
      {"one fault thirty times, then another",
       [&](const PlayedHost& host) {
         meet(host);
         for (int count = 0; count < 30; ++count) host.send(PlayedHost::message(99, ""));
         host.send(PlayedHost::message(99, "", 1, 7));
       },
       {"type", "tag"},
       0},
      {"no pong",
       [&](const PlayedHost& host) { host.greet(); },
       {"pong"},
       0,
       0,
       {"--pong-deadline", "0.3"},
       "no pong within"},
      {"no frame", meet, {"deadline"}, 0, 0, {"--frame-deadline", "0.3"}, "no frame of 320x640 within 0.3 s"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Lines options = {"--listen", "127.0.0.1:0",  "--size", phoneSize.text(), "--ping-interval", "60",
                     "--json",   path("s.json"), "--save", path("frames"),   "--save-every",    "0"};
    options.insert(options.end(), row.options.begin(), row.options.end());
    std::filesystem::remove_all(path("frames"));
    Program companion(command(options), {});
    {
      const PlayedHost host(companion, row.clockOffset);
      row.play(host);
      EXPECT_TRUE(companion.prints(row.printed)) << companion.output();
    }
    EXPECT_TRUE(companion.prints("disconnected")) << companion.output();
    EXPECT_EQ(companion.end(SIGHUP), row.kinds.empty() ? 0 : 1) << companion.output();

    const auto summary = nlohmann::json::parse(std::ifstream(path("s.json")));
    Lines kinds;
    for (const auto& fault : summary["faults"]) kinds.push_back(fault["kind"]);
    EXPECT_EQ(kinds, row.kinds) << companion.output();
    EXPECT_EQ(summary["frames"], row.frames);
    const bool hasPicture = row.frames > 0;
    EXPECT_EQ(std::filesystem::exists(path("frames/last.jpg")), hasPicture);
    EXPECT_EQ(std::filesystem::exists(path("frames/faulty-000001.jpg")),
              row.kinds == Lines{"picture"} || row.kinds == Lines{"size"} || row.kinds == Lines{"timestamp"});
    if (row.clockOffset != 0 && !summary["sentToReceived"].is_null()) {
      EXPECT_NEAR(summary["sentToReceived"]["p50"].get<double>(), 0, 1000) << "milliseconds";
    }
  }
}

TEST_F(JudgeTest, RefusesAtTheStartWhatCannotWork) {
  std::ofstream(path("file")) << "precious";
  const struct {
    Lines options;
    int status;
    const char* text;
  } rows[] = {
      {{"--mux", path("file")}, 1, "cannot listen at"},
      {{"--mux", ""}, 2, "must not be empty"},
      {{"--wifi", ""}, 2, "two digits"},
      {{"--wifi", "x7"}, 2, "two digits"},
      {{"--listen", "localhost:1"}, 2, "an address in numbers"},
      {{"--listen", "1.2.3.4"}, 2, "an address in numbers"},
      {{"--listen", "::1:70000"}, 2, "an address in numbers"},
      {{"--listen", "203.0.113.7:0"}, 1, "cannot listen at 203.0.113.7:0"},
      {{"--listen", "0", "--frames", "0"}, 2, "not in range"},
      {{"--listen", "[::]:0", "--json", path("missing/s.json")}, 1, "cannot write"},
      {{"--listen", "0", "--json", directory.path()}, 1, "cannot write"},
  };
  for (const auto& [options, status, text] : rows) {
    Program companion(command(options), {});
    EXPECT_EQ(companion.wait(), status) << options[1];
    EXPECT_NE(companion.output().find(text), std::string::npos) << companion.output();
  }
  EXPECT_EQ(std::filesystem::file_size(path("file")), 8U);
}

TEST_F(JudgeTest, TracesMessagesAndWaitsForFrames) {
  std::ofstream(path("script"))
      << "0 frame 20\n0.05 ping\n0.1 scale 2.5\n0.1 fullresolution on\n0.2 frame 0.1\n0.2 quit\n";
  Program companion(command({"--listen", "[::1]:0", "--size", phoneSize.text(), "--trace", "--script", path("script")}),
                    {});
  const PlayedHost host(companion, 0);
  host.greet();
  host.receive(100);
  host.answerPing();
  host.send(host.frame(noiseJpeg(frameSize, 1)));
  host.receive(102);
  EXPECT_NE(host.receive(100).find("\"scale\":2.5"), std::string::npos);
  EXPECT_EQ(companion.wait(), 1) << "no second frame came";
  std::size_t at = 0;
  for (const char* line : {"TCP <- Mac info, 66 bytes", "TCP -> device info, ", "TCP -> ping, 8 bytes",
                           "TCP <- pong, 16 bytes", "TCP <- video frame, ", "TCP -> ping, 8 bytes", "s: scale 2.5",
                           "fault: no frame within 0.1 s (deadline, TCP)"}) {
    at = companion.output().find(line, at);
    ASSERT_NE(at, std::string::npos) << line << " in " << companion.output();
  }
}

}  // namespace
}  // namespace tandemview
