// The shipped binaries in a headless GNOME session.

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "platform/linux/gnome/session/GnomeSession.h"
#include "support/PrivateGnome.h"

namespace tandemview {
namespace {

class GnomeEndToEndTest : public testing::Test {
 protected:
  GnomeEndToEndTest() { gnome_.enter(); }

  void startProgram() {
    program_.emplace(std::vector<std::string>{TANDEMVIEW_PROGRAM, "--usbmuxd-socket", directory_.path() + "/usbmuxd"},
                     gnome_.environment());
  }
  void startPhone(const std::string& script) {
    std::ofstream(directory_.path() + "/script") << script;
    phone_.emplace(std::vector<std::string>{TANDEMVIEW_COMPANION, "--mux", directory_.path() + "/usbmuxd", "--json",
                                            directory_.path() + "/summary", "--script", directory_.path() + "/script"},
                   gnome_.environment());
  }

  PrivateGnome gnome_;
  TemporaryDirectory directory_;
  std::optional<Program> program_;
  std::optional<Program> phone_;
};

TEST_F(GnomeEndToEndTest, TurnsAsOftenAsThePhoneAndComesBackAndLeavesNothing) {
  const auto desktop = GnomeSession::open();
  const auto untouched = desktop->layout().screens;
  std::string rotations;
  for (int turn = 0; turn < 11; ++turn) rotations += std::to_string(7 + 0.06 * turn) + " rotate\n";
  startPhone(rotations);
  startProgram();
  ASSERT_TRUE(phone_->prints("frames of 644x1398 arrive")) << program_->output();
  ASSERT_TRUE(program_->prints("Received device info", 12)) << program_->output();
  const auto isLastOf = [](const std::string& last, const std::string& before, const Program& program) {
    const std::string output = program.output();
    const std::size_t place = output.rfind(last);
    return place != std::string::npos && place > output.rfind(before);
  };
  ASSERT_TRUE(Program::within30Seconds([&] {
    return isLastOf("✅ Capture started", "🔄 DISPLAY CHANGE", *program_) &&
           isLastOf("frames of 1398x644 arrive", "frames of 644x1398 arrive", *phone_);
  })) << program_->output()
      << phone_->output();
  ASSERT_TRUE(Program::within30Seconds([&] { return desktop->layout().monitors.size() == 2; }));

  gnome_.restartPipeWire();
  EXPECT_TRUE(program_->prints("📺 The display's pictures have ended")) << program_->output();
  EXPECT_TRUE(Program::within30Seconds([&] {
    const std::string output = program_->output();
    return output.rfind("✅ Capture started") > output.find("📺 The display's pictures have ended");
  })) << program_->output();
  EXPECT_EQ(phone_->end(SIGTERM), 0) << phone_->output();
  const auto summary = nlohmann::json::parse(std::ifstream(directory_.path() + "/summary"));
  EXPECT_EQ(summary["faultCount"], 0);
  EXPECT_EQ(summary["sizes"].back()["width"], 1398);
  EXPECT_EQ(program_->output().find("restarting app"), std::string::npos);

  program_->end(SIGKILL);
  EXPECT_TRUE(Program::within30Seconds([&] { return desktop->layout().screens == untouched; }));
}

}  // namespace
}  // namespace tandemview
