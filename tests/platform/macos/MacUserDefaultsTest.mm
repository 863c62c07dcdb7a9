#import "platform/macos/MacUserDefaults.h"

#import <Foundation/Foundation.h>
#include <gtest/gtest.h>

#import "platform/macos/FoundationString.h"

namespace tandemview {
namespace {

/// In the test program's own domain.
class MacUserDefaultsTest : public testing::Test {
 protected:
  ~MacUserDefaultsTest() override { [NSUserDefaults.standardUserDefaults removeObjectForKey:@"key"]; }

  MacUserDefaults defaults;
};

TEST_F(MacUserDefaultsTest, ABooleanWrittenByHandIsReadAsFoundationReadsIt) {
  const struct {
    id written;
    std::optional<bool> read;
  } cases[] = {
      {nil, std::nullopt}, {@YES, true}, {@NO, false},   {@1, true},   {@"YES", true},
      {@"true", true},     {@"1", true}, {@"NO", false}, {@"", false}, {@[ @YES ], std::nullopt},
  };
  for (const auto& each : cases) {
    [NSUserDefaults.standardUserDefaults setObject:each.written forKey:@"key"];
    EXPECT_EQ(defaults.boolean("key"), each.read) << stringFrom([each.written description]);
  }
}

TEST_F(MacUserDefaultsTest, AValueOfAnotherTypeIsAbsent) {
  defaults.setDate("key", 1234567890.25);
  EXPECT_EQ(defaults.date("key"), 1234567890.25);
  EXPECT_EQ(defaults.boolean("key"), std::nullopt);
  EXPECT_EQ(defaults.string("key"), std::nullopt);
  defaults.setString("key", "größer");
  EXPECT_EQ(defaults.string("key"), "größer");
  EXPECT_EQ(defaults.date("key"), std::nullopt);
  defaults.setBoolean("key", true);
  EXPECT_EQ(defaults.boolean("key"), true);
  EXPECT_EQ(defaults.string("key"), std::nullopt);
}

}  // namespace
}  // namespace tandemview
