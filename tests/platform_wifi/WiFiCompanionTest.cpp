// The sender and the companion over real Bonjour and TCP.

#include <filesystem>
#include <nlohmann/json.hpp>

#define STB_IMAGE_WRITE_STATIC
#define STB_IMAGE_WRITE_IMPLEMENTATION
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#include <stb/stb_image_write.h>
#pragma GCC diagnostic pop

#include "fakes/MemoryUserDefaults.h"
#include "platform_wifi/AvahiFixture.h"
#include "protocol/Message.h"
#include "wifi/WiFiSender.h"

namespace tandemview {
namespace {

/// A frame as the encoder makes it for a phone of 1290x2796.
Data frame() {
  static const std::string image = [] {
    std::string bytes;
    const std::vector<unsigned char> pixels(644 * 1398 * 3, 0x80);
    stbi_write_jpg_to_func(
        [](void* context, void* data, int size) {
          static_cast<std::string*>(context)->append(static_cast<char*>(data), static_cast<std::size_t>(size));
        },
        &bytes, 644, 1398, 3, pixels.data(), 50);
    return bytes;
  }();
  return MacProtocol::timestamp(SystemMediaClock().now()).joinedWith(Data::copying(image));
}

class WiFiCompanionTest : public AvahiFixture {
 protected:
  void SetUp() override {
    AvahiFixture::SetUp();
    if (!queue) return;
    mainQueue = SerialQueue::withThread("main");
    userDefaults->setString("WiFiPairingCode", "47");
    sender = std::make_shared<WiFiSender>(
        WiFiSender::Surroundings{.mainQueue = mainQueue,
                                 .queue = queue,
                                 .network = network,
                                 .userDefaults = userDefaults,
                                 .clock = std::make_shared<SystemMediaClock>(),
                                 .wallClock = std::make_shared<SystemWallClock>(),
                                 .program = {.name = "Tandemview", .shortVersion = "1", .build = "1"}});
    sender->onClientConnected = [this] { note([&] { ++connections; }); };
    sender->onClientDisconnected = [this] {
      note([&] { ++disconnections; });
      sender->start();
    };
    sender->onDeviceInfo = [this](const MacProtocol::DeviceInfo& info) { note([&] { deviceWidth = info.width; }); };
    mainQueue->async([this] { sender->start(); });
  }

  void TearDown() override {
    if (mainQueue) {
      std::promise<void> stopped;
      mainQueue->async([&] {
        sender->onClientDisconnected = nullptr;
        sender->stop();
        stopped.set_value();
      });
      stopped.get_future().wait();
      mainQueue->stopAndJoin();
    }
    AvahiFixture::TearDown();
    sender = nullptr;
  }

  void startPhone(const std::vector<std::string>& options, const std::string& code = "47") {
    std::vector<std::string> command = {TANDEMVIEW_COMPANION, "--wifi", code, "--json", summaryPath()};
    command.insert(command.end(), options.begin(), options.end());
    phone.emplace(command, Program::Environment());
  }
  std::string script(const std::string& text) {
    std::ofstream(directory.path() + "/script") << text;
    return directory.path() + "/script";
  }
  std::string summaryPath() const { return directory.path() + "/summary.json"; }
  nlohmann::json summary() const { return nlohmann::json::parse(std::ifstream(summaryPath())); }
  bool prints(const std::string& line) {
    return Program::within30Seconds([&] { return log.count(line) > 0; });
  }

  std::shared_ptr<MemoryUserDefaults> userDefaults = std::make_shared<MemoryUserDefaults>();
  std::shared_ptr<SerialQueue> mainQueue;
  std::shared_ptr<WiFiSender> sender;
  std::optional<Program> phone;

  // Guarded by the mutex.
  int connections = 0;
  int disconnections = 0;
  std::int64_t deviceWidth = 0;
};

TEST_F(WiFiCompanionTest, FramesAndPongsArrive) {
  startDaemon();
  const Program stranger = publish("ScrRcv-12", 9);
  startPhone({"--frames", "20", "--ping-interval", "0.05"});
  ASSERT_TRUE(eventually([&] { return connections == 1 && deviceWidth == 1290; })) << phone->output();
  Program::within30Seconds([&] {
    sender->sendFrame(frame());
    return std::filesystem::exists(summaryPath());
  });
  EXPECT_EQ(phone->wait(), 0) << phone->output();
  EXPECT_EQ(summary()["faultCount"], 0);
  EXPECT_EQ(summary()["frames"], 20);
  EXPECT_GT(summary()["pingRoundTrip"]["p50"], 0);
  EXPECT_GE(log.count("📱 WiFiSender: Ignoring device with different pairing code: ScrRcv-12"), 1);
  EXPECT_TRUE(eventually([&] { return disconnections >= 1; }));
}

TEST_F(WiFiCompanionTest, ThePhoneComesBackWhateverItDid) {
  startDaemon();
  startPhone({"--script", script("4 announce 1000001\n8 announce 0\n12 hangup\n")});
  EXPECT_TRUE(prints("⚠️ WiFiSender: Invalid message length 1000001 - dropping connection")) << phone->output();
  EXPECT_TRUE(prints("⚠️ WiFiSender: Invalid message length 0 - dropping connection")) << phone->output();
  EXPECT_TRUE(phone->prints("disconnected: the script hangs up")) << phone->output();
  EXPECT_TRUE(eventually([&] { return connections >= 4; })) << phone->output();
  EXPECT_EQ(phone->end(SIGTERM), 0) << phone->output();
}

TEST_F(WiFiCompanionTest, ASilentPhoneIsDropped) {
  startDaemon();
  startPhone({"--script", script("2 silent 60\n")});
  EXPECT_TRUE(prints("🔄 WiFiSender: Stale WiFi connection dropped — resuming browsing")) << phone->output();
  EXPECT_TRUE(eventually([&] { return connections == 2; })) << phone->output();
}

TEST_F(WiFiCompanionTest, AStalledPhoneCostsFramesOnly) {
  startDaemon();
  startPhone({"--ping-interval", "0.5", "--script", script("3 stall 3\n"), "--seconds", "12"});
  ASSERT_TRUE(eventually([&] { return connections == 1; })) << phone->output();
  Program::within30Seconds([&] {
    for (int count = 0; count < 50; ++count) sender->sendFrame(frame());
    return std::filesystem::exists(summaryPath());
  });
  EXPECT_EQ(phone->wait(), 0) << phone->output();
  EXPECT_EQ(summary()["connections"], 1);
  EXPECT_EQ(summary()["faultCount"], 0);
}

/// The other host: processes in a network of their own, joined to the test's by a virtual cable, as "link0" here and
/// "link1" there.
class TwoHostsTest : public WiFiCompanionTest {
 protected:
  void SetUp() override {
    WiFiCompanionTest::SetUp();
    if (!queue) return;
    network2.emplace(std::vector<std::string>{"/usr/bin/unshare", "-n", "sh", "-c", "echo ready; exec sleep 300"},
                     Program::Environment());
    ASSERT_TRUE(network2->prints("ready"));
    const std::string process = std::to_string(network2->process());
    if (run("ip link add link0 type veth peer name link1 && ip link set link1 netns " + process) != 0) {
      GTEST_SKIP() << "needs veth devices and iproute2";
    }
    there = "nsenter -t " + process + " -n ";
    ASSERT_EQ(run("ip addr add 10.9.9.1/24 dev link0 && ip link set link0 up"), 0);
    ASSERT_EQ(run(there + "sh -c 'ip link set lo up; ip addr add 10.9.9.2/24 dev link1; ip link set link1 up'"), 0);
  }
  void TearDown() override {
    phone.reset();
    run("ip link del link0 2>/dev/null");
    WiFiCompanionTest::TearDown();
  }

  static int run(const std::string& command) { return std::system(command.c_str()); }

  std::optional<Program> network2;
  std::string there;
  PrivateBus bus2;
};

TEST_F(TwoHostsTest, TheLinkSurvivesACutCable) {
  startDaemon("link0");
  bus2.start();
  const std::string configuration = directory.path() + "/avahi2.conf";
  std::ofstream(configuration)
      << "[server]\nhost-name=phone\nallow-interfaces=link1\n[wide-area]\nenable-wide-area=no\n";
  const std::string environment = "export DBUS_SYSTEM_BUS_ADDRESS=" + bus2.address() + "; ";
  const Program daemon2({"/usr/bin/unshare", "-m", "sh", "-c",
                         "mount -t tmpfs none /run; " + environment + "exec " + there + "/usr/sbin/avahi-daemon -f " +
                             configuration + " --no-drop-root --no-chroot --no-rlimits --no-proc-title"},
                        {});
  ASSERT_TRUE(daemon2.prints("Server startup complete")) << daemon2.output();
  phone.emplace(
      std::vector<std::string>{"/bin/sh", "-c", environment + "exec " + there + TANDEMVIEW_COMPANION + " --wifi 47"},
      Program::Environment());
  ASSERT_TRUE(eventually([&] { return connections == 1; })) << phone->output();
  ASSERT_EQ(run("ip link set link0 down"), 0);
  EXPECT_TRUE(prints("🔄 WiFiSender: Stale WiFi connection dropped — resuming browsing"));
  ASSERT_EQ(run("ip link set link0 up"), 0);
  EXPECT_TRUE(eventually([&] { return connections == 2; })) << phone->output();
}

}  // namespace
}  // namespace tandemview
