#include "runtime/Log.h"

#include <gtest/gtest.h>

#include "fakes/LogRecorder.h"

namespace tandemview {
namespace {

TEST(LogTest, ForeignTextOnlyShows) {
  for (const auto& [text, line] :
       {std::pair<std::string, std::string>{"✅ König \U0001F469\u200D\U0001F680 🖱️ שלום",
                                            "✅ König \U0001F469\u200D\U0001F680 🖱️ שלום"},
        {"a\nb\tc\x1B[31md", "a b c [31md"},
        {"a\177b", "a b"},
        {"a\u009B31mb\u009D0;c\u0085d", "a 31mb 0;c d"},
        {"a\u202Eb\u2066c\u200Fd\u061Ce", "a b c d e"},
        {"a\u2028b\u2029c", "a b c"},
        {"a\233\377b", "a  b"},
        {"a\300\233b\342\202", "a  b  "},
        {std::string("a\0b", 3), "a b"}}) {
    LogRecorder log;
    Log::line(text);
    EXPECT_EQ(log.take(), Lines{line});
  }
}

}  // namespace
}  // namespace tandemview
