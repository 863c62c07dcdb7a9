#include "runtime/Log.h"

#include <gtest/gtest.h>

#include "fakes/LogRecorder.h"

namespace tandemview {
namespace {

TEST(LogTest, ForeignTextOnlyShows) {
  struct Case {
    std::string text;
    std::string line;
  };
  for (const auto& [text, line] : {Case{"✅ König \U0001F469\u200D\U0001F680 🖱️ שלום",
                                        "✅ König \U0001F469\u200D\U0001F680 🖱️ שלום"},
                                   {"a\nb\tc\x1B[31md", "a b c [31md"},
                                   {"a\x7F"
                                    "b",
                                    "a b"},
                                   {"a\u009B31mb\u009D0;c\u0085d", "a 31mb 0;c d"},
                                   {"a\u202Eb\u2066c\u200Fd\u061Ce", "a b c d e"},
                                   {"a\u2028b\u2029c", "a b c"},
                                   {"a\x9B\xFF"
                                    "b",
                                    "a  b"},
                                   {"a\xC0\x9B"
                                    "b\xE2\x82",
                                    "a  b  "},
                                   {std::string("a\0b", 3), "a b"}}) {
    LogRecorder log;
    Log::line(text);
    EXPECT_EQ(log.take(), std::vector<std::string>{line});
  }
}

}  // namespace
}  // namespace tandemview
