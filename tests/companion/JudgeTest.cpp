// The companion as a program, judging hosts that this file plays: what they do wrong is told by the exit status and the
// summary, by kind.

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <xcb/screensaver.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "companion/ClockPattern.h"
#include "companion/NoiseJpeg.h"
#include "companion/SocketAddress.h"
#include "end_to_end/Program.h"
#include "runtime/BigEndian.h"
#include "runtime/Data.h"
#include "runtime/Descriptor.h"
#include "runtime/MediaClock.h"
#include "support/PrivateXServer.h"
#include "support/X11TestClient.h"

namespace tandemview {
namespace {

using Lines = std::vector<std::string>;

constexpr FrameSize phoneSize{640, 1280};
constexpr FrameSize frameSize{320, 640};

std::string bytesOf(double seconds) {
  return {reinterpret_cast<const char*>(&seconds), sizeof(seconds)};
}

/// A host on a connection of its own, whose clock is another computer's.
class Host {
 public:
  explicit Host(const Program& companion, double clockOffset) : clockOffset_(clockOffset) {
    EXPECT_TRUE(companion.prints("listens at ")) << companion.output();
    std::string address = companion.output();
    address = address.substr(address.find("listens at ") + 11);
    const auto target = *socketAddressFromText(address.substr(0, address.find('\n')));
    socket_ = Descriptor(::socket(target.storage.ss_family, SOCK_STREAM, 0));
    EXPECT_EQ(::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&target.storage), target.length), 0);
  }
  /// Reads what is on its way, lest the system drop what it has sent.
  ~Host() {
    ::shutdown(socket_.get(), SHUT_WR);
    while (!receiveBytes(1).empty()) continue;
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  void send(const std::string& bytes) const {
    EXPECT_EQ(::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
  }
  static std::string message(std::uint32_t type, const std::string& payload, std::uint32_t version = 1,
                             std::uint32_t tag = 0) {
    std::string bytes;
    for (const std::uint32_t field : {version, type, tag, static_cast<std::uint32_t>(payload.size())}) {
      for (const std::byte byte : bigEndianBytes(field)) bytes += static_cast<char>(byte);
    }
    return bytes + payload;
  }
  void greet() const { send(message(106, R"({"kind":"macInfo","version":"1","build":"1","features":["resize"]})")); }
  /// The payload of the next message of that type.
  std::string receive(std::uint32_t type) const {
    while (true) {
      const std::string header = receiveBytes(16);
      if (header.size() < 16) return "";
      const auto field = [&](std::size_t at) {
        return bigEndianNumber(std::as_bytes(std::span(header)).subspan(at).first<4>());
      };
      const std::string payload = receiveBytes(field(12));
      if (field(4) == type) return payload;
    }
  }
  void answerPing() const {
    const std::string ping = receive(102);
    send(message(103, ping + bytesOf(now())));
  }
  std::string frame(const std::string& image, double late = 0) const {
    return message(101, bytesOf(now() + late) + image);
  }

 private:
  double now() const { return SystemMediaClock().now() + clockOffset_; }
  std::string receiveBytes(std::size_t count) const {
    std::string bytes(count, '\0');
    const ssize_t received = count == 0 ? 0 : ::recv(socket_.get(), bytes.data(), count, MSG_WAITALL);
    bytes.resize(received > 0 ? static_cast<std::size_t>(received) : 0);
    return bytes;
  }

  Descriptor socket_;
  double clockOffset_;
};

class JudgeTest : public testing::Test {
 protected:
  Lines command(const Lines& options) const {
    Lines result = {TANDEMVIEW_COMPANION};
    result.insert(result.end(), options.begin(), options.end());
    return result;
  }
  std::string path(const std::string& name) const { return directory.path() + "/" + name; }

  TemporaryDirectory directory;
};

TEST_F(JudgeTest, TellsSoundHostsFromBrokenOnes) {
  const std::string image = noiseJpeg(frameSize, 1);
  std::string damaged = image;
  damaged.replace(image.size() - 2000, 200, 200, '\0');
  const auto meet = [](const Host& host) {
    host.greet();
    host.answerPing();
  };
  const struct {
    const char* name;
    std::function<void(const Host&)> play;
    Lines kinds;
    int frames;
    double clockOffset = 0;
    Lines options = {};
    const char* printed = "";  // before the host goes, if it waits for something
  } rows[] = {
      {"sound",
       [&](const Host& host) { meet(host), host.send(host.frame(image)), host.send(host.frame(image)); },
       {},
       2},
      {"booted earlier", [&](const Host& host) { meet(host), host.send(host.frame(image)); }, {}, 1, 5000},
      {"booted later", [&](const Host& host) { meet(host), host.send(host.frame(image)); }, {}, 1, -5000},
      {"no pong as yet", [&](const Host& host) { host.greet(), host.send(host.frame(image)); }, {}, 1, 5000},
      {"a frame of the future",
       [&](const Host& host) { meet(host), host.send(host.frame(image, 1)); },
       {"timestamp"},
       1},
      {"damaged at its end", [&](const Host& host) { meet(host), host.send(host.frame(damaged)); }, {"picture"}, 1},
      {"another size",
       [&](const Host& host) {
         meet(host), host.send(host.frame(noiseJpeg({640, 320}, 1)));
       },
       {"size"},
       1},
      {"words missing",
       [&](const Host& host) { host.send(Host::message(106, R"({"kind":"macInfo"})")), host.send(host.frame(image)); },
       {"Mac info"},
       1},
      {"another version", [&](const Host& host) { meet(host), host.send(Host::message(101, "x", 2)); }, {"link"}, 0},
      {"gone within a frame",
       [&](const Host& host) { meet(host), host.send(host.frame(image).substr(0, 900)); },
       {"link"},
       0},
      {"one fault thirty times, then another",
       [&](const Host& host) {
         meet(host);
         for (int count = 0; count < 30; ++count) host.send(Host::message(99, ""));
         host.send(Host::message(99, "", 1, 7));
       },
       {"type", "tag"},
       0},
      {"no pong",
       [&](const Host& host) { host.greet(); },
       {"pong"},
       0,
       0,
       {"--pong-deadline", "0.3"},
       "no pong within"},
      {"no frame", meet, {"deadline"}, 0, 0, {"--frame-deadline", "0.3"}, "no frame of 320x640 within 0.3 s"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Lines options = {"--listen", "127.0.0.1:0",  "--size", phoneSize.text(), "--ping-interval", "60",
                     "--json",   path("s.json"), "--save", path("frames"),   "--save-every",    "0"};
    options.insert(options.end(), row.options.begin(), row.options.end());
    std::filesystem::remove_all(path("frames"));
    Program companion(command(options), {});
    {
      const Host host(companion, row.clockOffset);
      row.play(host);
      EXPECT_TRUE(companion.prints(row.printed)) << companion.output();
    }
    EXPECT_TRUE(companion.prints("disconnected")) << companion.output();
    EXPECT_EQ(companion.end(SIGHUP), row.kinds.empty() ? 0 : 1) << companion.output();

    const auto summary = nlohmann::json::parse(std::ifstream(path("s.json")));
    Lines kinds;
    for (const auto& fault : summary["faults"]) kinds.push_back(fault["kind"]);
    EXPECT_EQ(kinds, row.kinds) << companion.output();
    EXPECT_EQ(summary["frames"], row.frames);
    const bool hasPicture = row.frames > 0;
    EXPECT_EQ(std::filesystem::exists(path("frames/last.jpg")), hasPicture);
    EXPECT_EQ(std::filesystem::exists(path("frames/faulty-000001.jpg")),
              row.kinds == Lines{"picture"} || row.kinds == Lines{"size"} || row.kinds == Lines{"timestamp"});
    if (row.clockOffset != 0 && !summary["sentToReceived"].is_null()) {
      EXPECT_NEAR(summary["sentToReceived"]["p50"].get<double>(), 0, 1000) << "milliseconds";
    }
  }
}

TEST_F(JudgeTest, RefusesAtTheStartWhatCannotWork) {
  std::ofstream(path("file")) << "precious";
  const struct {
    Lines options;
    int status;
    const char* text;
  } rows[] = {
      {{"--mux", path("file")}, 1, "cannot listen at"},
      {{"--mux", ""}, 2, "must not be empty"},
      {{"--wifi", ""}, 2, "two digits"},
      {{"--wifi", "x7"}, 2, "two digits"},
      {{"--listen", "localhost:1"}, 2, "an address in numbers"},
      {{"--listen", "1.2.3.4"}, 2, "an address in numbers"},
      {{"--listen", "::1:70000"}, 2, "an address in numbers"},
      {{"--listen", "203.0.113.7:0"}, 1, "cannot listen at 203.0.113.7:0"},
      {{"--listen", "0", "--frames", "0"}, 2, "not in range"},
      {{"--listen", "[::]:0", "--json", path("missing/s.json")}, 1, "cannot write"},
      {{"--listen", "0", "--json", directory.path()}, 1, "cannot write"},
  };
  for (const auto& [options, status, text] : rows) {
    Program companion(command(options), {});
    EXPECT_EQ(companion.wait(), status) << options[1];
    EXPECT_NE(companion.output().find(text), std::string::npos) << companion.output();
  }
  EXPECT_EQ(std::filesystem::file_size(path("file")), 8U);
}

TEST_F(JudgeTest, TracesMessagesAndWaitsForFrames) {
  std::ofstream(path("script"))
      << "0 frame 20\n0.05 ping\n0.1 scale 2.5\n0.1 fullresolution on\n0.2 frame 0.1\n0.2 quit\n";
  Program companion(command({"--listen", "[::1]:0", "--size", phoneSize.text(), "--trace", "--script", path("script")}),
                    {});
  const Host host(companion, 0);
  host.greet();
  host.receive(100);
  host.answerPing();
  host.send(host.frame(noiseJpeg(frameSize, 1)));
  host.receive(102);
  EXPECT_NE(host.receive(100).find("\"scale\":2.5"), std::string::npos);
  EXPECT_EQ(companion.wait(), 1) << "no second frame came";
  std::size_t at = 0;
  for (const char* line : {"TCP <- Mac info, 66 bytes", "TCP -> device info, ", "TCP -> ping, 8 bytes",
                           "TCP <- pong, 16 bytes", "TCP <- video frame, ", "TCP -> ping, 8 bytes", "s: scale 2.5",
                           "fault: no frame within 0.1 s (deadline, TCP)"}) {
    at = companion.output().find(line, at);
    ASSERT_NE(at, std::string::npos) << line << " in " << companion.output();
  }
}

/// The companion's window on a screen that nobody touches.
class ScreenTest : public JudgeTest {
 protected:
  /// The clock pattern in the screen's corner, where each pixel of the picture is `scale` pixels wide.
  std::optional<std::uint32_t> shownTicks(std::size_t scale) {
    const std::size_t block = ClockPattern::blockSize * scale;
    const PixelRectangle corner{0, 0, static_cast<int>(ClockPattern::columns * block), static_cast<int>(2 * block)};
    const auto pixels = user.screenshot(corner);
    ClockPattern::Luminances blocks;
    for (std::size_t index = 0; index < blocks.size(); ++index) {
      const std::size_t row = index / ClockPattern::columns * block + block / 2;
      const std::size_t column = index % ClockPattern::columns * block + block / 2;
      blocks[index] = static_cast<std::uint8_t>(pixels[row * ClockPattern::columns * block + column]);
    }
    return ClockPattern::read(blocks);
  }
  /// Of whatever windows there are.
  std::string titles() const {
    Program tree({"/usr/bin/xwininfo", "-root", "-tree"}, {{"DISPLAY", server.displayName()}, {"LC_ALL", "C.UTF-8"}});
    tree.wait();
    return tree.output();
  }
  /// As a window manager would, which isn't there.
  void fillScreen() const {
    const auto windows =
        owned(xcb_query_tree_reply(client->get(), xcb_query_tree(client->get(), client->root()), nullptr));
    ASSERT_EQ(xcb_query_tree_children_length(windows.get()), 1);
    const std::uint32_t place[] = {0, 0, 1280, 800};
    xcb_configure_window(client->get(), *xcb_query_tree_children(windows.get()),
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         place);
  }
  bool isBlank() const {
    return owned(xcb_screensaver_query_info_reply(client->get(),
                                                  xcb_screensaver_query_info(client->get(), client->root()), nullptr))
               ->state == XCB_SCREENSAVER_STATE_ON;
  }

  PrivateXServer server;
  X11TestClient user{server.displayName()};
  std::shared_ptr<X11Connection> client = X11Connection::open(server.displayName());
};

TEST_F(ScreenTest, ShowsWhatArrivesLastAndHowItStands) {
  xcb_set_screen_saver(client->get(), 1, 0, XCB_BLANKING_PREFERRED, XCB_EXPOSURES_ALLOWED);
  Program companion(command({"--listen", "127.0.0.1:0", "--window", "--size", "2560x1600"}),
                    {{"DISPLAY", server.displayName()}, {"DBUS_SESSION_BUS_ADDRESS", "unix:path=/none"}});
  ASSERT_TRUE(companion.prints("listens at")) << companion.output();
  fillScreen();
  EXPECT_TRUE(Program::within30Seconds([&] { return isBlank(); }));
  {
    const Host host(companion, 0);
    host.greet();
    host.answerPing();
    std::string burst;
    for (std::uint32_t ticks = 1; ticks <= 5; ++ticks) burst += host.frame(noiseJpeg({1280, 800}, ticks));
    host.send(burst);
    EXPECT_TRUE(Program::within30Seconds([&] { return shownTicks(1) == 5; })) << "while one is decoded, others come";
    host.send(host.frame(noiseJpeg({640, 400}, 6)));
    EXPECT_TRUE(Program::within30Seconds([&] { return shownTicks(2) == 6; })) << "of another size than planned";
    EXPECT_NE(titles().find("connected, 640x400"), std::string::npos) << titles();
    EXPECT_FALSE(isBlank());
  }
  EXPECT_TRUE(Program::within30Seconds([&] { return titles().find("connection lost") != std::string::npos; }));
  EXPECT_TRUE(Program::within30Seconds([&] { return isBlank(); })) << "nobody needs the screen";
  EXPECT_EQ(companion.end(SIGTERM), 1) << "the other size is a fault";
}

}  // namespace
}  // namespace tandemview
