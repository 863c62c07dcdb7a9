#include "companion/ScreenForFrames.h"

#include <gtest/gtest.h>

#include "protocol/DisplayPlan.h"

namespace tandemview {
namespace {

TEST(ScreenForFramesTest, EveryWindowOfUseHasAScreenWhoseFramesFillIt) {
  for (const bool fullResolution : {false, true}) {
    for (const char* const idiom : {"phone", "pad"}) {
      for (FrameSize window{640, 0}; window.width <= 3840; window.width += 7) {
        for (window.height = 200; window.height <= 2160; window.height += 11) {
          const auto screen = screenForFrames(window, idiom, fullResolution);
          ASSERT_TRUE(screen) << window.text() << idiom << fullResolution;
          const auto plan = makeDisplayPlan(screen->width, screen->height, idiom, fullResolution);
          ASSERT_EQ(plan.width, window.width / 2 * 2) << window.text();
          ASSERT_EQ(plan.height, window.height / 2 * 2) << window.text();
        }
      }
    }
  }
  EXPECT_EQ(screenForFrames({600, 500}, "phone", false), std::nullopt) << "no display is as small as that";
  EXPECT_EQ(screenForFrames({8194, 1000}, "phone", false), std::nullopt) << "no host takes such a screen";
}

}  // namespace
}  // namespace tandemview
