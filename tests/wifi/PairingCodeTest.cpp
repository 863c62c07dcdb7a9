#include <gtest/gtest.h>

#include <limits>

#include "fakes/LogRecorder.h"
#include "fakes/ManualQueue.h"
#include "fakes/MemoryUserDefaults.h"
#include "wifi/WiFiSender.h"

namespace tandemview {
namespace {

class PairingCodeTest : public testing::Test {
 protected:
  std::string code(std::vector<std::uint32_t> bits) {
    auto next = bits.begin();
    return WiFiSender::currentPairingCode(userDefaults, wallClock,
                                          [&] { return next == bits.end() ? 0xFFFFFFFFu : *next++; });
  }

  LogRecorder log;
  MemoryUserDefaults userDefaults;
  ManualWallClock wallClock{ManualQueue::make()};
};

TEST_F(PairingCodeTest, LivesForThreeHoursFromItsMaking) {
  struct Case {
    double age;
    std::string keptLine;  // none: a new code is made
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const Case& each :
       {Case{0, "(generated 0s ago)"}, Case{10799.9, "(generated 10799s ago)"}, Case{-60.5, "(generated -60s ago)"},
        Case{10800, ""}, Case{1e300, ""}, Case{-1e300, ""}, Case{nan, ""}}) {
    SCOPED_TRACE(each.age);
    const double made = wallClock.now() - each.age;
    userDefaults.setString("WiFiPairingCode", "47");
    userDefaults.setDate("WiFiPairingCodeTimestamp", made);
    const std::string code = this->code({0xFFFFFFFF});
    if (each.keptLine.empty()) {
      EXPECT_EQ(code, "99");
      EXPECT_EQ(userDefaults.date("WiFiPairingCodeTimestamp"), wallClock.now());
      EXPECT_EQ(log.take(), Lines{"📶 WiFiSender: Generated new code: 99"});
    } else {
      EXPECT_EQ(code, "47");
      EXPECT_EQ(userDefaults.date("WiFiPairingCodeTimestamp"), made) << "keeping it doesn't prolong its life";
      EXPECT_EQ(log.take(), Lines{"📶 WiFiSender: Keeping existing code: 47 " + each.keptLine});
    }
    EXPECT_EQ(userDefaults.string("WiFiPairingCode"), code);
  }
}

TEST_F(PairingCodeTest, AllCodesAreEquallyLikely) {
  const auto newCode = [this](std::vector<std::uint32_t> bits) {
    userDefaults.setString("WiFiPairingCodeTimestamp", "no date");  // so that a stored code is of no use
    return code(std::move(bits));
  };
  // Of 2^32 values, 76 more than a multiple of 90, those whose product has a low half below 76 are thrown away.
  EXPECT_EQ(newCode({0, 0x80000000, 0x80000001}), "55");
  std::set<std::string> codes;
  constexpr std::uint32_t step = 0xFFFFFFFF / 90 + 1;
  for (std::uint32_t number = 0; number < 90; ++number) codes.insert(newCode({number * step + step / 2}));
  EXPECT_EQ(codes.size(), 90u);
  EXPECT_EQ(*codes.begin(), "10");
  EXPECT_EQ(*codes.rbegin(), "99");
}

}  // namespace
}  // namespace tandemview
