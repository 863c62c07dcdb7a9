#include "protocol/DisplayPlan.h"

#include <gtest/gtest.h>

#include "protocol/StreamQuality.h"
#include "runtime/Truncation.h"

namespace tandemview {
namespace {

using MacProtocol::DeviceClass;
using MacProtocol::DisplayPlan;

TEST(DisplayPlanTest, SizesEveryKindOfScreen) {
  const struct {
    std::int64_t width, height;
    std::optional<std::string> idiom;
    bool fullResolution;
    DisplayPlan expected;
  } cases[] = {
      {1290, 2796, {}, false, {644, 1398, false, 0.5, DeviceClass::iPhone}},
      {2796, 1290, "phone", false, {1398, 644, false, 0.5, DeviceClass::iPhone}},
      {1290, 2796, "phone", true, {1290, 2796, false, 1.0, DeviceClass::iPhone}},
      {2048, 2732, {}, false, {1536, 2048, true, 0.75, DeviceClass::iPad}},
      {2048, 2732, "pad", false, {1536, 2048, true, 0.75, DeviceClass::iPad}},
      {2048, 2732, "phone", false, {1024, 1366, false, 0.5, DeviceClass::foldable}},
      {1000, 1200, "phone", false, {532, 640, false, 0.5, DeviceClass::foldable}},
      {1200, 1000, "phone", false, {640, 532, false, 0.5, DeviceClass::foldable}},
      {1001, 1203, {}, true, {1000, 1202, true, 1.0, DeviceClass::iPad}},
      {650, 1000, {}, true, {650, 1000, false, 1.0, DeviceClass::iPhone}},  // a ratio of exactly 0.65
      {300, 600, {}, true, {320, 640, false, 1.0, DeviceClass::iPhone}},
      {5, 0, {}, true, {640, 0, false, 1.0, DeviceClass::iPhone}},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(makeDisplayPlan(each.width, each.height, each.idiom, each.fullResolution), each.expected)
        << each.width << "x" << each.height;
  }
  EXPECT_DEATH(makeDisplayPlan(0, 0, {}, false), "fits an integer");
  EXPECT_DEATH(truncated(9223372036854775808.0), "fits an integer");
}

TEST(StreamQualityTest, MigratesOlderSettings) {
  using enum StreamQuality;
  const struct {
    std::optional<std::string> current, oldQuality, oldSize;
    StreamQuality expected;
  } cases[] = {
      {{}, {}, {}, balanced},       {"sharp", "low", "fullSize", sharp},
      {"huge", "ultra", {}, sharp}, {{}, "low", "fullSize", fullResolution},
      {{}, "low", "other", smooth}, {{}, "high", {}, sharp},
      {{}, "medium", {}, balanced}, {"", {}, {}, balanced},
  };
  for (const auto& each : cases) EXPECT_EQ(loadQualityMode(each.current, each.oldQuality, each.oldSize), each.expected);
  EXPECT_EQ(jpegQualityFor(fullResolution, /*isWiFiConnected=*/false), 0.70);
  EXPECT_EQ(jpegQualityFor(fullResolution, /*isWiFiConnected=*/true), 0.25);
}

}  // namespace
}  // namespace tandemview
