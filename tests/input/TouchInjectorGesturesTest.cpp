#include "input/TouchFixture.h"

namespace tandemview {
namespace {

using TouchInjectorGesturesTest = TouchFixture;

Lines chord(int keyCode, const std::string& flags) {
  return {fmt::format("key {} down flags {}", keyCode, flags), fmt::format("key {} up flags {}", keyCode, flags)};
}

TEST_F(TouchInjectorGesturesTest, ScrollsWholePixelsAndKeepsTheRest) {
  const struct {
    double x, y;
    Lines expected;
  } cases[] = {
      {0.4, 0.4, {}},
      {0.4, 0.4, {}},
      {0.4, 0.4, {"scroll -1 -1 continuous flags 0x0"}},  // leaves -0.2 each
      {-0.2, -2.7, {"scroll 2 0 continuous flags 0x0"}},  // leaves 0.5 vertically
      {0, -0.5, {"scroll 1 0 continuous flags 0x0"}},
      {-3, 0, {"scroll 0 3 continuous flags 0x0"}},
      {0.5, 0.5, {}},
      {2147483647, -2147483647, {"scroll 2147483646 -2147483647 continuous flags 0x0"}},
      {-0.25, 0.25, {}},
      {2147483649.5, 0, {}},  // more than a wheel counts: nothing, and the rest stays
      {0, -1e300, {}},
      {0.75, 0.25, {"scroll 0 -1 continuous flags 0x0"}},
  };
  for (const auto& each : cases) {
    trackpad("scroll", each.x, each.y);
    EXPECT_EQ(events->take(), each.expected) << each.x << " " << each.y;
  }
}

TEST_F(TouchInjectorGesturesTest, ZoomsOneStepPerMessage) {
  for (const auto& [x, y] : {std::pair(0.01, -1.0), {5, -1}, {0.1, 1e300}, {0.1, -2147483649.0}}) {
    trackpad("zoom", x, y);
    EXPECT_EQ(events->take(), chord(24, "0x100000"));
    EXPECT_EQ(log.take(), Lines{"🔍 Zoom in (Cmd+=)"});
  }
  for (const double x : {-0.01, -1e300}) {
    trackpad("zoom", x, 1);
    EXPECT_EQ(events->take(), chord(27, "0x100000"));
    EXPECT_EQ(log.take(), Lines{"🔍 Zoom out (Cmd+-)"});
  }
  trackpad("zoom", 0, 1);
  trackpad("zoom", -0.0, 1);
  EXPECT_EQ(events->take(), Lines{});
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(TouchInjectorGesturesTest, PressesShortcuts) {
  const struct {
    const char* type;
    const char* direction;
    Lines events;
    const char* line;
  } cases[] = {
      {"swipe", "left", chord(124, "0xa40000"), "👆 Swipe left"},
      {"swipe", "right", chord(123, "0xa40000"), "👆 Swipe right"},
      {"swipe", "up", chord(126, "0xa40000"), "👆 Swipe up"},
      {"swipe", "down", chord(125, "0xa40000"), "👆 Swipe down"},
      {"swipe", "Left", {}, "⚠️ TouchInjector: Unknown swipe direction: Left"},
      {"gesture", "lookup", chord(2, "0x140000"), "👆 Look Up"},
      {"gesture", "showdesktop", chord(103, "0x800000"), "👆 Show Desktop"},
      {"gesture", "left", {}, "⚠️ TouchInjector: Unknown gesture: left"},
  };
  for (const auto& each : cases) {
    trackpadTowards(each.type, each.direction);
    EXPECT_EQ(events->take(), each.events) << each.line;
    EXPECT_EQ(log.take(), Lines{each.line});
  }
  trackpad("gesture", 0, 0);
  send(R"({"type":"swipe","x":0,"y":0,"mode":"trackpad","direction":3})");
  EXPECT_EQ(log.take(),
            (Lines{"⚠️ TouchInjector: Unknown gesture: ", "⚠️ TouchInjector: Unknown swipe direction: "}));
}

TEST_F(TouchInjectorGesturesTest, OpensTheFirstLauncherThatExists) {
  const std::string newer = "/System/Applications/Apps.app";
  const std::string older = "/System/Applications/Launchpad.app";
  const std::string line = "👆 Launchpad / Apps";
  trackpadTowards("gesture", "launchpad");
  EXPECT_EQ(events->take(), Lines{});
  EXPECT_EQ(log.take(), (Lines{line, "⚠️ TouchInjector: Launchpad/Apps not found"}));

  events->applications = {older};
  events->openError = Error{.domain = "test", .code = 1, .description = "No such luck"};
  trackpadTowards("gesture", "launchpad");
  EXPECT_EQ(events->take(), Lines{"open " + older});
  EXPECT_EQ(log.take(), (Lines{line, "❌ TouchInjector: Could not open " + older + ": No such luck"}));

  events->applications.insert(newer);
  events->openError.reset();
  trackpadTowards("gesture", "launchpad");
  EXPECT_EQ(events->take(), Lines{"open " + newer});
  EXPECT_EQ(log.take(), Lines{line});
}

}  // namespace
}  // namespace tandemview
