#include "usb/PropertyList.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "fakes/LogRecorder.h"

namespace tandemview {
namespace {

/// The writing is a library's: what it makes of a list is read here by other code.
TEST(PropertyListTest, EveryTypeSurvivesBothFormats) {
  const PropertyList dictionary = {{"text", "Grüße <&>\"' \u0080\u0800€𝄞"},
                                   {"number", 10505},
                                   {"large", 5'000'000'000},
                                   {"largest", 18446744073709551615u},
                                   {"negative", -1},
                                   {"yes", true},
                                   {"no", false},
                                   {"real", 0.5},
                                   {"empty", PropertyList::array()},
                                   {"list", {1, "two", PropertyList::object()}},
                                   {"nested", {{"key", "value"}}},
                                   {"long", std::string(70'000, 'x')},
                                   {"bytes", PropertyList::binary({0, 255, 1})}};
  const auto xml = xmlPropertyList(dictionary);
  ASSERT_TRUE(xml);
  EXPECT_TRUE(xml->text().starts_with("<?xml"));
  EXPECT_EQ(dictionaryWithContentsOfData(*xml), dictionary);
  const auto binary = createReferencingDispatchData(dictionary);
  ASSERT_TRUE(binary);
  EXPECT_TRUE(binary->text().starts_with("bplist00"));
  EXPECT_EQ(dictionaryWithContentsOfData(*binary), dictionary);
}

std::optional<PropertyList> readXML(const std::string& value) {
  return dictionaryWithContentsOfData(
      Data::copying("<?xml version=\"1.0\"?>\n<!DOCTYPE plist PUBLIC \"-//\" \"http://\">\n<plist version=\"1.0\">\n"
                    "<dict><key>k</key>" +
                    value + "</dict>\n</plist>\n"));
}

TEST(PropertyListTest, ReadsXMLAsDaemonsWriteIt) {
  const struct {
    std::string value;
    PropertyList expected;
  } cases[] = {
      {"<!-- <array> --><string a=\"b\"> x </string>", " x "},
      {"<!--> <array> --><true/>", true},
      {"<true></true>", true},
      {" <array>\n<false/> <array/>\t<dict/><string/></array>",
       PropertyList{false, PropertyList::array(), PropertyList::object(), ""}},
      {"<date>2001-01-02T00:00:01Z</date>", 86'401.0},
      {"<data>\n\tAAEC\n\t/w==\n</data>", PropertyList::binary({0, 1, 2, 255})},
      {"<integer>18446744073709551615</integer>", 18446744073709551615u},
      {"<real>-1.5e3</real>", -1500.0},
  };
  for (const auto& [value, expected] : cases) EXPECT_EQ(readXML(value), (PropertyList{{"k", expected}})) << value;
  for (const char* value : {"<integer>x</integer>", "<integer>[1]</integer>", "<integer>true</integer>",
                            "<date>2001-01-02T00:00:01+</date>", "<date>2001-13-02T00:00:01Z</date>", "<data>A*</data>",
                            "<string>&#65;</string>", "<string>&unknown;</string>", "<string>a<b/></string>",
                            "<array><true/></dict>", "<array>", "<!-- <true/>", "<unknown/>",
                            "<true/><key>second</key>", "<true/><string>second</string><true/>", "<string>&amp", ""}) {
    EXPECT_FALSE(readXML(value)) << value;
  }
}

/// A binary list of these objects, the first one its root.
Data binaryList(const Lines& objects) {
  std::string bytes = "bplist00";
  std::string offsets;
  for (const std::string& object : objects) {
    offsets += static_cast<char>(bytes.size());
    bytes += object;
  }
  const auto table = static_cast<char>(bytes.size());
  const auto number = [](char value) { return std::string(7, '\0') + value; };
  return Data::copying(bytes + offsets + std::string(6, '\0') + "\1\1" + number(static_cast<char>(objects.size())) +
                       number(0) + number(table));
}

/// Arrays that hold the next one so many times each, the last one a leaf.
Data sharingList(int levels, int width, const std::string& leaf = "\x09") {
  Lines objects = {"\xd1\x01\x02", "\x51k"};
  for (int level = 0; level < levels; ++level) {
    const auto next = static_cast<char>(objects.size() + 1);
    objects.push_back(static_cast<char>(0xa0 | width) + std::string(static_cast<std::size_t>(width), next));
  }
  objects.push_back(leaf);
  return binaryList(objects);
}

TEST(PropertyListTest, WhatIsReadStaysWithinItsBounds) {
  const auto isRead = [](const Data& data) { return dictionaryWithContentsOfData(data).has_value(); };
  PropertyList nested = PropertyList::array();
  for (int depth = 2; depth <= deepestPropertyList + 1; ++depth, nested = PropertyList::array({nested})) {
    const bool isAllowed = depth <= deepestPropertyList;
    EXPECT_EQ(isRead(*xmlPropertyList({{"k", nested}})), isAllowed) << depth;
    EXPECT_EQ(isRead(*createReferencingDispatchData({{"k", nested}})), isAllowed) << depth;
  }
  std::string siblings;
  std::string disguised;
  for (int count = 0; count < 100'000; ++count) {
    siblings += "<array/>";
    disguised += "<!--</array>--><array>";
  }
  EXPECT_TRUE(readXML("<array>" + siblings + "</array>"));
  EXPECT_FALSE(readXML(disguised.substr(0, longestPropertyList / 2))) << "a comment closes nothing";
  EXPECT_FALSE(readXML("<string>" + std::string(longestPropertyList, 'x') + "</string>"));

  EXPECT_EQ(dictionaryWithContentsOfData(sharingList(2, 2)),
            PropertyList::parse(R"({"k": [[true, true], [true, true]]})"));
  EXPECT_TRUE(isRead(sharingList(5, 10)));
  EXPECT_FALSE(isRead(sharingList(17, 2))) << "a quarter of a million values from some hundred bytes";
  const std::string data = "\x4f\x10\x96" + std::string(150, 'x');
  EXPECT_TRUE(isRead(sharingList(3, 10, data)));
  EXPECT_FALSE(isRead(sharingList(4, 10, data))) << "few values, but large ones";
  EXPECT_FALSE(isRead(binaryList({"\xd1\x01\x02", "\x51k", "\xa1\x02"}))) << "an array that holds itself";
}

TEST(PropertyListTest, ReadsBinaryValuesAsDaemonsWriteThem) {
  using namespace std::string_literals;
  const std::string zeros(16, '\0');
  const auto read = [](const std::string& object) {
    return dictionaryWithContentsOfData(binaryList({"\xd1\x01\x02", "\x51k", object}));
  };
  const struct {
    std::string object;
    PropertyList expected;
  } cases[] = {
      {"\x13\xff\xff\xff\xff\xff\xff\xff\xff", -1},
      {"\x14" + zeros.substr(8) + "\xff" + zeros.substr(9), 0xff00000000000000u},
      {"\x22\x3f\x80\0\0"s, 1.0},
      {"\x33\x3f\xf0" + zeros.substr(10), 1.0},
      {"\x80\x07", 7},
      {"\x61\xe0\0"s, "\uE000"},
      {"\x62\xd8\0\xdc\0"s, "\U00010000"},
      {"\x5f\x10\x01!", "!"},
  };
  for (const auto& [object, expected] : cases) {
    EXPECT_EQ(read(object), (PropertyList{{"k", expected}})) << testing::PrintToString(object);
  }
  for (const std::string& object :
       Lines{"\x14" + zeros.substr(9) + "\x01" + zeros.substr(8), "\x15" + zeros + zeros, "\x14", "\x21" + zeros,
             "\x32" + zeros, "\x5f\x50" + zeros, "\x5f\x13\xff\xff\xff\xff\xff\xff\xff\xff", "\x61\xd8\x01",
             "\x62\xdc\0\xdc\0"s, "\x6f\x10\x28", "\x5f\x10\x30", "\x70"}) {
    EXPECT_FALSE(read(object)) << testing::PrintToString(object);
  }
}

TEST(PropertyListTest, WhatIsNoDictionaryGivesNothing) {
  for (const char* text :
       {"", "garbage", "<plist><string>no</string></plist>", "<dict/>", "<other><dict/></plist>",
        "<plist><dict/></dict>", "<?xml version=\"1.0\"?><plist><dict><key>unfinished", "bplist00\xff\xff\xff\xff"}) {
    EXPECT_FALSE(dictionaryWithContentsOfData(Data::copying(text))) << text;
  }
  for (const Lines& objects : {Lines{"\x51k"}, {"\xd1\x01\x02", "\x09", "\x09"}, {"\xd1\x01\x05", "\x51k"}}) {
    EXPECT_FALSE(dictionaryWithContentsOfData(binaryList(objects))) << testing::PrintToString(objects);
  }
  const std::string whole(sharingList(2, 2).text());
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(dictionaryWithContentsOfData(Data::copying(whole.substr(0, length)))) << length;
  }
  EXPECT_FALSE(xmlPropertyList({{"list", PropertyList::array({nullptr})}}));
  LogRecorder log;
  EXPECT_FALSE(createReferencingDispatchData({{"null", nullptr}}));
  EXPECT_EQ(log.take(), Lines{"Failed to serialize property list: Error Domain=PropertyList Code=0 "
                              "\"a value that no property list can hold\""});
}

}  // namespace
}  // namespace tandemview
