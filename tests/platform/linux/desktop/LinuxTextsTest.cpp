#include <gtest/gtest.h>

#include "platform/linux/desktop/LinuxTexts.h"
#include "platform/linux/x11/X11Texts.h"

namespace tandemview {

TEST(LinuxTextsTest, EverySessionGetsAllTextsAndNoneOfAMac) {
  for (const X11Session& session : {X11Session{}, X11Session{.isWayland = true}, X11Session{.hasServer = true},
                                    X11Session{.hasServer = true, .isTrusted = true}}) {
    const auto [message, explanation, status, capture, input, lid, question, answer, permissions, denied] =
        linuxTexts(x11Texts(session));
    for (const std::string& text :
         {message, explanation, status, capture, input, lid, question, answer, permissions, denied}) {
      EXPECT_NE(text, "");
      EXPECT_EQ(text.find("Mac"), std::string::npos) << text;
      EXPECT_EQ(text.find("System Settings"), std::string::npos) << text;
    }
  }
}

}  // namespace tandemview
