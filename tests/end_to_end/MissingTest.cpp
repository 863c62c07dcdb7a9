// What the shipped program says where something is missing.

#include "end_to_end/EndToEndFixture.h"
#include "support/UntrustedCookie.h"

namespace tandemview {
namespace {

class MissingTest : public EndToEndFixture {
 protected:
  MissingTest() {
    environment["PATH"] = directory.path();  // no program for dialogs
    environment["WAYLAND_DISPLAY"] = "";
  }
};

TEST_F(MissingTest, WithoutAnXServerTheStartFailsAndSaysWhy) {
  environment["DISPLAY"] = ":9999";
  for (const auto& [variable, value, reason] :
       std::vector<std::array<std::string, 3>>{{"XDG_SESSION_TYPE", "tty", "   Start it within your desktop's session"},
                                               {"XDG_SESSION_TYPE", "wayland", "   Log out, choose “X11”"},
                                               {"DISPLAY", "", "   Log out, choose “X11”"}}) {
    environment[variable] = value;
    startProgram();
    EXPECT_EQ(program->wait(), 1);
    EXPECT_TRUE(program->output().starts_with("⚠️ Tandemview needs an X11 session\n" + reason))
        << program->output();
  }
}

TEST_F(MissingTest, AnXServerThatDoesNotTrustUsIsTold) {
  const UntrustedCookie cookie(server.displayName());
  environment["XAUTHORITY"] = cookie.path();
  startProgram();
  EXPECT_TRUE(program->prints("⚠️ The X server doesn't trust Tandemview")) << program->output();
  EXPECT_EQ(program->end(SIGTERM), 0);
}

}  // namespace
}  // namespace tandemview
