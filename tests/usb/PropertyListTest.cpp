#include "usb/PropertyList.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "fakes/LogRecorder.h"

namespace tandemview {
namespace {

TEST(PropertyListTest, EveryTypeSurvivesBothFormats) {
  const PropertyList dictionary = {{"text", "Grüße <&>"},
                                   {"number", 10505},
                                   {"negative", -1},
                                   {"yes", true},
                                   {"real", 0.5},
                                   {"list", {1, "two"}},
                                   {"nested", {{"key", "value"}}},
                                   {"bytes", PropertyList::binary({0, 255})}};
  const auto xml = xmlPropertyList(dictionary);
  ASSERT_TRUE(xml);
  EXPECT_TRUE(xml->text().starts_with("<?xml"));
  EXPECT_EQ(dictionaryWithContentsOfData(*xml), dictionary);
  const auto binary = createReferencingDispatchData(dictionary);
  ASSERT_TRUE(binary);
  EXPECT_TRUE(binary->text().starts_with("bplist00"));
  EXPECT_EQ(dictionaryWithContentsOfData(*binary), dictionary);
}

TEST(PropertyListTest, WhatIsNoDictionaryGivesNothing) {
  std::string deep;
  for (int level = 0; level < 100'000; ++level) deep += "<array>";
  for (const std::string& text :
       {std::string(), std::string("garbage"), std::string("<plist><string>no</string></plist>"),
        std::string("<?xml version=\"1.0\"?><plist><dict><key>unfinished"), "<plist><dict><key>k</key>" + deep,
        std::string("bplist00\xff\xff\xff\xff")}) {
    EXPECT_FALSE(dictionaryWithContentsOfData(Data::copying(text))) << text.substr(0, 40);
  }
  LogRecorder log;
  EXPECT_FALSE(createReferencingDispatchData({{"null", nullptr}}));
  EXPECT_EQ(log.take().size(), 1u);
}

}  // namespace
}  // namespace tandemview
