// The shipped binaries over real Bonjour and TCP.

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <functional>
#include <iterator>
#include <set>
#include <thread>

#include "end_to_end/EndToEndFixture.h"
#include "platform/linux/x11/server/X11Connection.h"
#include "runtime/MediaClock.h"
#include "support/MulticastImpostor.h"
#include "support/PrivateAvahi.h"

namespace tandemview {
namespace {

constexpr const char* connectedLine = "✅ iPhone connected via WiFi";

/// Comes before the X server and whatever else is to be in the private network.
struct InPrivateNetwork {
  const bool isInside = PrivateAvahi::enter();
};

class WiFiTest : private InPrivateNetwork, public EndToEndFixture {
 protected:
  void SetUp() override {
    if (!isInside) GTEST_SKIP() << PrivateAvahi::whyNot;
    avahi.emplace();
    environment["DBUS_SYSTEM_BUS_ADDRESS"] = avahi->bus.address();
    ASSERT_TRUE(avahi->startDaemon());
  }
  /// Starts it and takes down its pairing code.
  void startProgram() {
    EndToEndFixture::startProgram();
    const std::string line = "Generated new code: ";
    ASSERT_TRUE(program->prints(line)) << program->output();
    code = program->output().substr(program->output().find(line) + line.size(), 2);
  }
  void startWiFiPhone(const Options& options, const std::string& shellPrefix = "") {
    std::string command = (shellPrefix.empty() ? "exec " : shellPrefix) + TANDEMVIEW_COMPANION + " --wifi " + code +
                          " --json " + wifiSummaryPath() + " --save " + directory.path() + "/wifi";
    for (const std::string& option : options) command += " " + option;
    wifiPhone.emplace(Options{"/bin/sh", "-c", command}, environment);
  }
  std::string wifiSummaryPath() const { return directory.path() + "/wifi.json"; }
  nlohmann::json wifiSummary() const { return nlohmann::json::parse(std::ifstream(wifiSummaryPath())); }

  /// Paints on the phone's display, a new picture each time, until the condition holds.
  testing::AssertionResult paintUntil(const std::function<bool()>& condition) {
    const bool holds = Program::within30Seconds([&] {
      color += 0x030509;
      desktop.paint({1280, 100, 600, 600}, color & 0xFFFFFF);
      std::this_thread::sleep_for(std::chrono::milliseconds(15));  // the pace of the picture
      return condition();
    });
    if (holds) return testing::AssertionSuccess();
    return testing::AssertionFailure() << program->output() << (wifiPhone ? wifiPhone->output() : "");
  }
  /// The images that a phone has saved, in their order.
  std::set<std::filesystem::path> images(const std::string& subdirectory) const {
    std::set<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(directory.path() + subdirectory)) {
      if (entry.path().filename() != "last.jpg") paths.insert(entry.path());
    }
    return paths;
  }
  static std::vector<std::string> contents(const std::set<std::filesystem::path>& paths) {
    std::vector<std::string> result;
    for (const auto& path : paths) {
      std::ifstream file(path);
      result.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return result;
  }

  std::optional<PrivateAvahi> avahi;
  std::optional<Program> wifiPhone;
  std::string code;
  std::uint32_t color = 0;
};

/// Somebody on the network whose services come and go every 50 ms, under names of all sorts.
class Rogue {
 public:
  ~Rogue() {
    isEnding_ = true;
    thread_.join();
  }

 private:
  void run() const {
    for (int turn = 0; !isEnding_; ++turn) {
      for (int number = 0; number < 50; ++number) {
        impostor_.announce("ScrRcv-\n\x1B[31m💥\\." + std::to_string(number), turn % 2 == 0 ? 120 : 0);
      }
      impostor_.announce("\xFF\xFE not UTF-8", 120);
      impostor_.announce(std::string(63, 'x'), 120);
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }

  const MulticastImpostor impostor_;
  std::atomic<bool> isEnding_ = false;
  std::thread thread_{[this] { run(); }};
};

TEST_F(WiFiTest, FindsItsPhoneAmongStrangersAndIsTouchedByIt) {
  std::vector<std::unique_ptr<Program>> strangers;
  for (int number = 100; number < 200; ++number) {
    strangers.push_back(PrivateAvahi::publish("ScrRcv-" + std::to_string(number), 9));
  }
  const Rogue rogue;
  const auto start = std::chrono::steady_clock::now();
  startProgram();
  ASSERT_TRUE(program->prints("devices with different pairing codes")) << program->output();
  std::string touches;
  for (double time = 1; time < 30; time += 0.5) {
    touches += std::to_string(time) + R"( touch {"type":"move","x":0.25,"y":0.5,"mode":"direct"})" + "\n";
  }
  startWiFiPhone({"--ping-interval", "0.05", "--script", script(touches)});
  ASSERT_TRUE(program->prints("✅ Capture started")) << program->output();

  const auto client = X11Connection::open(server.displayName());
  const auto isTouched = [&] {
    const auto pointer =
        owned(xcb_query_pointer_reply(client->get(), xcb_query_pointer(client->get(), client->root()), nullptr));
    return pointer->root_x == 1280 + 644 / 4 && pointer->root_y == 1398 / 2;
  };
  EXPECT_TRUE(paintUntil([&] { return isTouched() && images("/wifi").size() >= 20; }));
  const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_LE(program->count("Ignoring"), 16 * (elapsed / 0.5 + 1)) << "it looks at most twice a second, and names few";

  EXPECT_EQ(wifiPhone->end(SIGTERM), 0) << wifiPhone->output();
  EXPECT_EQ(wifiSummary()["faultCount"], 0);
  EXPECT_GT(wifiSummary()["pingRoundTrip"]["p50"], 0);
  EXPECT_TRUE(program->prints("⚠️ iPhone disconnected (WiFi)"));
  endProgram();
}

TEST_F(WiFiTest, EndsSoonUnderAFloodOfTapsOnBothLinks) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  constexpr auto soon = std::chrono::seconds(15);  // slow themselves, and they look for leaks in the end
#else
  constexpr auto soon = std::chrono::seconds(2);
#endif
  std::string flood = "0 frame 60\n";
  for (int tap = 0; tap < 3000; ++tap)
    flood += R"(0 touch {"type":"tap","x":0.25,"y":0.5,"mode":"direct"})"
             "\n";
  startProgram();
  startPhone({"--script", script(flood)});
  startWiFiPhone({"--script", script(flood)});
  ASSERT_TRUE(program->prints(connectedLine)) << program->output();
  ASSERT_TRUE(program->prints("👆 Tap", 100)) << program->output();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(program->end(SIGTERM), 0) << program->output();
  EXPECT_LT(std::chrono::steady_clock::now() - start, soon);
}

TEST_F(WiFiTest, BothLinksBringEveryFrameUntilOneOfThemStalls) {
  startProgram();
  startPhone({});
  startWiFiPhone({"--frames", "20"});
  ASSERT_TRUE(program->prints(connectedLine)) << program->output();
  ASSERT_TRUE(program->prints("✅ Capture started")) << program->output();
  // Each picture when both have the one before: a link that is slower than they come leaves some out.
  const auto isDone = [this] { return std::filesystem::exists(wifiSummaryPath()); };
  const auto saved = [this] { return std::min(images("/frames").size(), images("/wifi").size()); };
  while (!isDone()) {
    const std::size_t before = saved();
    desktop.paint({1280, 100, 600, 600}, color += 0x030509);
    ASSERT_TRUE(Program::within30Seconds([&] { return isDone() || saved() > before; })) << program->output();
  }
  EXPECT_EQ(wifiPhone->wait(), 0) << wifiPhone->output();
  const std::vector<std::string> byWiFi = contents(images("/wifi"));
  EXPECT_TRUE(Program::within30Seconds([&] {  // the phone on the cable goes on, and may have saved less so far
    const std::vector<std::string> byCable = contents(images("/frames"));
    return !std::ranges::search(byCable, byWiFi).empty();
  })) << "the same images in the same order, and none missing";

  ASSERT_TRUE(program->prints("⚠️ iPhone disconnected (WiFi)"));
  startWiFiPhone({"--ping-interval", "0.5", "--script", script("0 frame 60\n1 stall 60\n")});
  EXPECT_TRUE(paintUntil([&] { return program->count("link congested") > 0; }));
  const std::size_t before = images("/frames").size();
  EXPECT_TRUE(paintUntil([&] { return images("/frames").size() >= before + 20; }));
  EXPECT_EQ(program->count("⚠️ iPhone disconnected (WiFi)"), 1) << "a phone that is slow is not gone";
  EXPECT_EQ(phone->end(SIGTERM), 0) << phone->output();
  EXPECT_EQ(summary()["faultCount"], 0);
  EXPECT_EQ(program->end(SIGTERM), 0) << program->output();
}

TEST_F(WiFiTest, APhoneSaysThatItsCodeIsTaken) {
  const auto other = PrivateAvahi::publish("ScrRcv-42", 9);
  ASSERT_TRUE(other->prints("Established")) << other->output();
  Program companion({TANDEMVIEW_COMPANION, "--wifi", "42"}, environment);
  EXPECT_EQ(companion.wait(), 1);
  EXPECT_GE(companion.count("failed: the code 42 is taken"), 1) << companion.output();
}

/// The other computer: processes in a network of their own, joined to the test's by a virtual cable, as "link0" here
/// and "link1" there. It has booted later: its clock is half of ours.
class TwoHostsTest : public WiFiTest {
 protected:
  void TearDown() override {
    wifiPhone.reset();
    run("ip link del link0 2>/dev/null");
  }
  static int run(const std::string& command) { return std::system(command.c_str()); }
};

TEST_F(TwoHostsTest, ThePhoneIsFoundAgainAfterACutOfFifteenSeconds) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "half a minute of waiting: left to the release build";
#endif
  const auto shift = std::to_string(-static_cast<int>(SystemMediaClock().now() / 2));
  const Program there({"/usr/bin/unshare", "-n", "--time", "--monotonic", shift, "sh", "-c",
                       "ip link set lo up; echo ready; exec sleep 300"},
                      {});
  ASSERT_TRUE(there.prints("ready")) << there.output();
  const std::string process = std::to_string(there.process());
  if (run("ip link add link0 type veth peer name link1 netns " + process) != 0) {
    GTEST_SKIP() << "needs virtual network cables (veth)";
  }
  const std::string enter = "nsenter -t " + process + " -n --time=/proc/" + process + "/ns/time_for_children ";
  ASSERT_EQ(run("ip addr add 10.9.9.1/24 dev link0 && ip link set link0 up"), 0);
  ASSERT_EQ(run(enter + "sh -c 'ip addr add 10.9.9.2/24 dev link1; ip link set link1 up'"), 0);
  PrivateBus bus;
  bus.start();
  const std::string configuration = directory.path() + "/avahi.conf";
  std::ofstream(configuration)
      << "[server]\nhost-name=phone\nallow-interfaces=link1\n[wide-area]\nenable-wide-area=no\n";
  const std::string prefix = "export DBUS_SYSTEM_BUS_ADDRESS=" + bus.address() + "; ";
  const Program daemon({"/usr/bin/unshare", "-m", "sh", "-c",
                        "mount -t tmpfs none /run; " + prefix + "exec " + enter + "/usr/sbin/avahi-daemon -f " +
                            configuration + " --no-drop-root --no-chroot --no-rlimits --no-proc-title"},
                       {});
  ASSERT_TRUE(daemon.prints("Server startup complete")) << daemon.output();

  avahi->stopDaemon();
  ASSERT_TRUE(avahi->startDaemon("link0"));
  startProgram();
  startWiFiPhone({}, prefix + "exec " + enter);
  ASSERT_TRUE(program->prints("✅ Capture started")) << program->output();
  ASSERT_TRUE(paintUntil([&] { return images("/wifi").size() >= 5; }));

  const auto cut = std::chrono::steady_clock::now();
  ASSERT_EQ(run("ip link set link0 down"), 0);
  EXPECT_TRUE(program->prints("connection appears dead"));
  std::this_thread::sleep_until(cut + std::chrono::seconds(15));
  ASSERT_EQ(run("ip link set link0 up"), 0);
  EXPECT_TRUE(program->prints(connectedLine, 2)) << program->output() << wifiPhone->output();
  EXPECT_TRUE(program->prints("✅ Capture started", 2)) << program->output();
  const std::size_t before = images("/wifi").size();
  EXPECT_TRUE(paintUntil([&] { return images("/wifi").size() >= before + 5; }));
  EXPECT_EQ(wifiPhone->end(SIGTERM), 1) << "the host was silent during the cut";
  const nlohmann::json phoneSummary = wifiSummary();
  EXPECT_EQ(phoneSummary["faultCount"], 1) << wifiPhone->output();
  EXPECT_EQ(phoneSummary["faults"][0]["kind"], "silence");
  EXPECT_LT(phoneSummary["sentToReceived"]["p50"], 1000) << "milliseconds, in spite of the clocks";
  EXPECT_EQ(program->end(SIGTERM), 0) << program->output();
}

}  // namespace
}  // namespace tandemview
