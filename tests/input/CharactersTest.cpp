#include "input/Characters.h"

#include <gtest/gtest.h>

#include <vector>

namespace tandemview {
namespace {

TEST(CharactersTest, AreCutWhereAReaderSeesThem) {
  const struct {
    const char* text;
    std::vector<std::u16string> expected;
  } cases[] = {
      {"ab", {u"a", u"b"}},
      {"h\u00e9", {u"h", u"\u00e9"}},
      {"e\u0301x", {u"e\u0301", u"x"}},                     // combining mark
      {"\U0001F44Da", {u"\xD83D\xDC4D", u"a"}},             // surrogate pair
      {"\uFFFD\U00010000", {u"\uFFFD", u"\xD800\xDC00"}},   // the first one
      {"\U0001F44D\U0001F3FD", {u"\U0001F44D\U0001F3FD"}},  // skin tone
      {"\U0001F468\u200D\U0001F469\u200D\U0001F467!", {u"\U0001F468\u200D\U0001F469\u200D\U0001F467", u"!"}},
      {"\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7", {u"\U0001F1E9\U0001F1EA", u"\U0001F1EB\U0001F1F7"}},  // two flags
      {"\U0001F1E9\U0001F1EA\U0001F1EB", {u"\U0001F1E9\U0001F1EA", u"\U0001F1EB"}},
      {"\u1112\u1161\u11AB\uAE00", {u"\u1112\u1161\u11AB", u"\uAE00"}},  // Hangul: one syllable of letters, one whole
      {"\r\n\n\r", {u"\r\n", u"\n", u"\r"}},
      {"\u0301a", {u"\u0301", u"a"}},
      {"a\xff\xc3", {u"a", u"\uFFFD", u"\uFFFD"}},
  };
  for (const auto& each : cases) {
    std::string_view rest = each.text;
    std::vector<std::u16string> characters;
    while (!rest.empty()) characters.push_back(takeCharacter(rest));
    EXPECT_EQ(characters, each.expected) << each.text;
  }
}

TEST(CharactersTest, LoseTheirCase) {
  EXPECT_EQ(lowercased("RETURN-1\u00C9\u1E9E\u03A3\U00010400"), "return-1\u00E9\u00DF\u03C3\U00010428");
  EXPECT_EQ(lowercased("\u0130"), "i\u0307");
}

}  // namespace
}  // namespace tandemview
