// The shipped binaries on a private X server: what the phone receives is what an X client drew on its display.

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <random>

#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#define STBI_ONLY_JPEG
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#include <stb/stb_image.h>
#pragma GCC diagnostic pop

#include "end_to_end/EndToEndFixture.h"

namespace tandemview {
namespace {

using EndToEndTest = EndToEndFixture;

/// A JPEG file as a decoder sees it that is not ours: 3 bytes a pixel.
struct DecodedPicture {
  explicit DecodedPicture(const std::string& path) : pixels(stbi_load(path.c_str(), &width, &height, &channels, 3)) {}
  ~DecodedPicture() { stbi_image_free(pixels); }
  DecodedPicture(const DecodedPicture&) = delete;
  DecodedPicture& operator=(const DecodedPicture&) = delete;

  /// But for what compression makes of it.
  void expectAt(int x, int y, std::uint32_t color) const {
    for (int component = 0; component < 3; ++component) {
      EXPECT_NEAR(pixels[3 * (y * width + x) + component], color >> (16 - 8 * component) & 0xFF, 6) << x << "," << y;
    }
  }

  int width = 0;
  int height = 0;
  int channels = 0;
  unsigned char* const pixels;
};

struct Phone {
  const char* size;
  const char* idiom;
  int width;
  int height;
};

class PhoneSizes : public EndToEndTest, public testing::WithParamInterface<Phone> {};

TEST_P(PhoneSizes, ShowWhatWasDrawnOnTheirDisplay) {
  const Phone& kind = GetParam();
  startProgram();
  startPhone({"--size", kind.size, "--idiom", kind.idiom, "--frames", "12"});
  ASSERT_TRUE(program->prints("✅ Capture started")) << program->output();

  // Beside the main screen of 1280x800, from its top: four quarters and a mark, each its own colour.
  const std::int32_t width = kind.width / 2;
  const std::int32_t height = kind.height / 2;
  const std::uint32_t colors[] = {0xC03020, 0x20A040, 0x2040C0, 0xE0E0E0};
  for (int quarter = 0; quarter < 4; ++quarter) {
    desktop.paint({1280 + quarter % 2 * width, quarter / 2 * height, width, height}, colors[quarter]);
  }
  std::uint32_t markColor = 0;
  ASSERT_TRUE(Program::within30Seconds([&] {  // more frames than the quarters alone may make
    markColor += 0x101010;
    desktop.paint({1280 + width - 8, height - 8, 16, 16}, markColor & 0xFFFFFF);
    return std::filesystem::exists(summaryPath());
  }));
  EXPECT_EQ(phone->wait(), 0) << phone->output();
  EXPECT_EQ(summary()["faultCount"], 0);

  const DecodedPicture picture(directory.path() + "/frames/last.jpg");
  ASSERT_TRUE(picture.pixels);
  ASSERT_EQ(std::pair(picture.width, picture.height), std::pair(kind.width, kind.height));
  for (int quarter = 0; quarter < 4; ++quarter) {
    for (const auto& [x, y] : {std::pair(40, 40), {width - 40, 60}, {60, height - 40}}) {
      picture.expectAt(quarter % 2 * width + x, quarter / 2 * height + y, colors[quarter]);
    }
  }

  endProgram();
}

INSTANTIATE_TEST_SUITE_P(Kinds, PhoneSizes,
                         testing::Values(Phone{"1290x2796", "phone", 644, 1398}, Phone{"2796x1290", "phone", 1398, 644},
                                         Phone{"2048x2732", "pad", 1536, 2048}, Phone{"1000x1200", "phone", 532, 640}),
                         [](const auto& kind) { return std::string(kind.param.size); });

TEST_F(EndToEndTest, APhoneThatStoppedReadingEndsWithTheLastPicture) {
  startPhone({"--script", script("0 frame 60\n1 stall 3\n7 quit\n")});
  startProgram();
  ASSERT_TRUE(phone->prints("stall 3")) << program->output();
  // More pictures than the socket and the frames in flight hold, and then one that stays.
  std::uint32_t color = 0;
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(2500);
  while (std::chrono::steady_clock::now() < end) {
    desktop.paint({1280, 0, 644, 1398}, color += 0x050301);
    std::this_thread::sleep_for(std::chrono::milliseconds(16));
  }
  desktop.paint({1280, 0, 644, 1398}, 0x20A040);
  EXPECT_EQ(phone->wait(), 0) << phone->output();
  const DecodedPicture picture(directory.path() + "/frames/last.jpg");
  ASSERT_TRUE(picture.pixels);
  picture.expectAt(322, 699, 0x20A040);
}

TEST_F(EndToEndTest, ThePhoneComesBackAfterTheCableWheneverItIsPulledAndAfterTheDaemon) {
  // While the display is made, while it turns, and in mid-stream.
  startPhone({"--script", script("1 detach\n2 attach\n2 frame 60\n4 rotate\n4.005 detach\n5 attach\n5 frame 60\n"
                                 "8 detach\n9 attach\n9 frame 60\n12 quit\n")});
  ASSERT_TRUE(phone->prints("plays the multiplexing daemon"));
  startProgram();
  ASSERT_TRUE(phone->prints("frames of 644x1398 arrive")) << program->output();
  EXPECT_TRUE(phone->prints("frames of 1398x644 arrive")) << program->output();
  EXPECT_EQ(phone->wait(), 0) << phone->output();
  EXPECT_GE(summary()["connections"], 3);
  EXPECT_EQ(summary()["faultCount"], 0);
  ASSERT_TRUE(program->prints("The USB daemon went away"));

  startPhone({"--frames", "1"});
  EXPECT_EQ(phone->wait(), 0) << phone->output();
  EXPECT_TRUE(program->prints("The USB daemon is there")) << program->output();
  endProgram();
}

TEST_F(EndToEndTest, ElevenQuickRotationsEndInTheLastOneWithoutARelaunch) {
  std::string rotations = "0 frame 60\n";
  for (int turn = 0; turn < 11; ++turn) rotations += std::to_string(3 + 0.06 * turn) + " rotate\n";
  startPhone({"--script", script(rotations + "7 quit\n")});
  startProgram();
  ASSERT_TRUE(phone->prints("frames of 1398x644 arrive")) << program->output();
  EXPECT_EQ(screen("DUMMY0", desktop.arrangement()), screen("DUMMY0", untouched));
  EXPECT_EQ(phone->wait(), 0) << phone->output();
  EXPECT_EQ(summary()["sizes"].back()["width"], 1398);
  EXPECT_EQ(program->count("restarting app"), 0);
  endProgram();
}

class Relaunch : public EndToEndTest, public testing::WithParamInterface<bool> {};

TEST_P(Relaunch, BringsASizeBeyondTheEnvelopeWhateverHappensMeanwhile) {
  const bool isScriptPathTaken = GetParam();
  copyProgram();
  startPhone({"--script", script("0 frame 60\n3 size 6000x2000\n")});
  startProgram();
  const pid_t first = program->process();
  const std::string scriptPath = relaunchScript(first);
  if (isScriptPathTaken) std::filesystem::create_directories(scriptPath + "/by somebody else");
  ASSERT_TRUE(program->prints("✅ Capture started")) << program->output();
  // The package is upgraded,
  std::filesystem::copy(TANDEMVIEW_PROGRAM, programPath + ".new");
  std::filesystem::rename(programPath + ".new", programPath);
  // and the copy that is to be replaced takes its time.
  pid_t second = 0;
  const auto isSecondThere = [&] { return (second = programProcess(first)) != 0; };
  if (isScriptPathTaken) {
    EXPECT_TRUE(program->prints("❌ Failed to create relaunch script:")) << program->output();
    ASSERT_TRUE(Program::within30Seconds(isSecondThere)) << program->output();
    ::kill(first, SIGSTOP);
  } else {
    EXPECT_TRUE(program->prints("✅ Relaunch script started")) << program->output();
    ::kill(first, SIGSTOP);
    ASSERT_TRUE(Program::within30Seconds(isSecondThere)) << program->output();
  }
  EXPECT_GE(program->count("📁 Bundle path: " + programPath + "\n"), 1) << program->output();
  EXPECT_FALSE(Program::within(std::chrono::seconds(2), [&] { return programProcess(first) != second; }))
      << "it gave up";
  ::kill(first, SIGCONT);

  EXPECT_EQ(program->wait(), 0) << program->output();
  ASSERT_TRUE(phone->prints("frames of 3000x1000 arrive")) << program->output();
  EXPECT_EQ(phone->end(SIGTERM), 0) << phone->output();
  EXPECT_EQ(summary()["connections"], 2);
  EXPECT_EQ(programProcess(), second);
  ::kill(second, SIGTERM);
  EXPECT_TRUE(Program::within30Seconds([&] { return programProcess() == 0; }));
  EXPECT_EQ(desktop.arrangement(), untouched);
}

INSTANTIATE_TEST_SUITE_P(Ways, Relaunch, testing::Bool(),
                         [](const auto& way) { return way.param ? "WithoutAScript" : "ByAScript"; });

TEST_F(EndToEndTest, NothingOutlivesTheProgramWheneverItEnds) {
  std::mt19937 random(std::random_device{}());
  startPhone({"--seconds", "60"});
  for (int turn = 0; turn < 8; ++turn) {
    startProgram();
    ASSERT_TRUE(program->prints("📱 Device:")) << program->output();
    // Anywhere around the creation of the display, which takes some milliseconds.
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 30'000));
    if (turn % 2 == 0) {
      EXPECT_EQ(program->end(SIGTERM), 0) << program->output();
      EXPECT_EQ(desktop.arrangement(), untouched) << "turn " << turn << "\n" << program->output();
    } else {
      program->end(SIGKILL);  // what it leaves, the next start removes
    }
  }
  startProgram();
  ASSERT_TRUE(program->prints("💡 Connect your iPhone"));
  endProgram(SIGINT);
}

TEST_F(EndToEndTest, AClosedStandardOutputIsNoOtherDescriptorsNumber) {
  program.emplace(Options{"/bin/sh", "-c", "exec \"$0\" --usbmuxd-socket \"$1\" <&- >&- 2>&-", programPath,
                          directory.path() + "/usbmuxd"},
                  environment);
  startPhone({"--frames", "1"});
  EXPECT_EQ(phone->wait(), 0) << phone->output();
  endProgram();
}

TEST_F(EndToEndTest, AGoneXServerEndsTheProgramInGoodOrder) {
  startProgram();
  startPhone({"--seconds", "60"});
  ASSERT_TRUE(program->prints("✅ Capture started")) << program->output();
  server.kill();
  EXPECT_EQ(program->wait(), 0) << program->output();
}

}  // namespace
}  // namespace tandemview
