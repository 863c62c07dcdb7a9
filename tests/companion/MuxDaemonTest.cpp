#include "companion/MuxDaemon.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "support/SocketPair.h"
#include "support/StandInDaemon.h"

namespace tandemview {
namespace {

std::string propertyList(const std::string& entries) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
         "<plist version=\"1.0\">\n<dict>\n" +
         entries + "</dict>\n</plist>\n";
}

std::string request(const PropertyList& entries) {
  return std::string(StandInDaemon::packet(0x4D, entries).text());
}

std::string connectRequest(int device, int swappedPort) {
  return request({{"MessageType", "Connect"}, {"DeviceID", device}, {"PortNumber", swappedPort}});
}

const std::string listenRequest = request({{"MessageType", "Listen"}});

/// As the real daemon sends it, byte for byte.
std::string result(char number) {
  return fromHex("26010000 01000000 08000000 4D000000") +
         propertyList(std::string("\t<key>MessageType</key>\n\t<string>Result</string>\n"
                                  "\t<key>Number</key>\n\t<integer>") +
                      number + "</integer>\n");
}

class MuxDaemonTest : public testing::Test {
 protected:
  Descriptor client() {
    Descriptor connection = std::move(*connectedUnixSocket(directory.path() + "/mux"));
    queue->drain();
    return connection;
  }

  void send(const Descriptor& connection, std::string_view bytes) {
    EXPECT_EQ(::send(connection.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    queue->drain();
  }

  /// What the daemon has sent.
  static std::string received(const Descriptor& connection) {
    std::array<char, 4096> buffer;
    const ssize_t count = ::read(connection.get(), buffer.data(), buffer.size());
    return {buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
  }

  static bool isClosed(const Descriptor& connection) {
    char byte = 0;
    const ssize_t count = ::read(connection.get(), &byte, 1);
    return count == 0 || (count < 0 && errno == ECONNRESET);
  }

  TemporaryDirectory directory;
  std::shared_ptr<ManualQueue> queue = ManualQueue::make();
  std::vector<std::shared_ptr<Stream>> connected;
  std::shared_ptr<MuxDaemon> daemon = *MuxDaemon::listeningAt(
      directory.path() + "/mux", queue,
      [](std::int64_t, std::uint16_t port) { return port == 2345 ? MuxResult::success : MuxResult::connectionRefused; },
      [this](std::int64_t, std::shared_ptr<Stream> stream) { connected.push_back(std::move(stream)); });
};

TEST_F(MuxDaemonTest, AnswersRequests) {
  daemon->attach(3);
  const struct {
    const char* name;
    std::string request;
    std::string reply;
  } cases[] = {
      {"listen, followed by the attached device", listenRequest, result('0')},
      {"connect", connectRequest(3, 10505), result('0')},
      {"connect to a closed port", connectRequest(3, 2345), result('3')},
      {"connect to an unknown device", connectRequest(4, 10505), result('2')},
      {"unknown request", request({{"MessageType", "Dance"}}), result('1')},
      {"request without a type", request(PropertyList::object()), ""},
      {"type that is no text", request({{"MessageType", 4}}), ""},
      {"no property list", fromHex("14000000 01000000 08000000 4D000000 DEADBEEF"), ""},
      {"empty payload", fromHex("10000000 01000000 08000000 4D000000"), ""},
      {"protocol 2", fromHex("10000000 02000000 08000000 4D000000"),
       fromHex("14000000 00000000 01000000 4D000000 06000000")},
      {"type 7", fromHex("10000000 01000000 07000000 4D000000"),
       fromHex("14000000 00000000 01000000 4D000000 01000000")},
  };
  for (const auto& [name, bytes, reply] : cases) {
    const Descriptor connection = client();
    send(connection, bytes);
    EXPECT_EQ(received(connection).substr(0, std::max<std::size_t>(reply.size(), 1)), reply) << name;
  }
}

TEST_F(MuxDaemonTest, TellsEveryListenerOfDevices) {
  const Descriptor first = client();
  const Descriptor second = client();
  send(first, listenRequest);
  EXPECT_EQ(received(first), result('0'));
  EXPECT_TRUE(daemon->attach(3));
  EXPECT_FALSE(daemon->attach(3));
  send(second, listenRequest);
  const std::string attached = received(first);
  EXPECT_EQ(received(second), result('0') + attached);
  EXPECT_EQ(attached.substr(4, 12), fromHex("01000000 08000000 00000000"));
  EXPECT_NE(attached.find("<key>DeviceID</key>\n\t<integer>3</integer>\n\t<key>MessageType</key>\n"
                          "\t<string>Attached</string>\n\t<key>Properties</key>\n\t<dict>\n"),
            std::string::npos);

  EXPECT_TRUE(daemon->detach(3));
  EXPECT_FALSE(daemon->detach(3));
  const std::string detached = propertyList(
      "\t<key>DeviceID</key>\n\t<integer>3</integer>\n\t<key>MessageType</key>\n\t<string>Detached</string>\n");
  EXPECT_EQ(received(first).substr(16), detached);
  EXPECT_EQ(received(second).substr(16), detached);
}

TEST_F(MuxDaemonTest, HandsOverTheRawStreamWhichOutlivesIt) {
  daemon->attach(3);
  const Descriptor connection = client();
  send(connection, connectRequest(4, 10505));  // a refused connection stays usable
  send(connection, connectRequest(3, 10505) + "raw bytes");
  EXPECT_EQ(received(connection), result('2') + result('0'));
  ASSERT_EQ(connected.size(), 1U);
  std::string read;
  connected[0]->read(9, [&](const std::optional<Error>&, const Data& data) { read = data.text(); });
  queue->drain();
  EXPECT_EQ(read, "raw bytes");

  const Descriptor other = client();
  daemon = nullptr;
  EXPECT_TRUE(isClosed(other));
  EXPECT_NE(::access((directory.path() + "/mux").c_str(), F_OK), 0);
  connected[0]->write(Data::copying("and back"), nullptr);
  EXPECT_EQ(received(connection), "and back");
}

TEST_F(MuxDaemonTest, CutsEveryConnectionOfADeviceThatGoes) {
  daemon->attach(3);
  daemon->attach(4);
  const Descriptor clients[] = {client(), client(), client()};
  const int devices[] = {3, 4, 3};
  for (int number = 0; number < 3; ++number) {
    send(clients[number], connectRequest(devices[number], 10505));
    received(clients[number]);
  }
  daemon->detach(3);
  queue->drain();
  EXPECT_TRUE(isClosed(clients[0]));
  EXPECT_FALSE(isClosed(clients[1]));
  EXPECT_TRUE(isClosed(clients[2]));
}

TEST_F(MuxDaemonTest, ReplacesAndRemovesNothingButSockets) {
  const auto listenAt = [&](const std::string& path) { return MuxDaemon::listeningAt(path, queue, nullptr, nullptr); };
  const std::string file = directory.path() + "/file";
  std::ofstream(file) << "precious";
  EXPECT_FALSE(listenAt(file));
  EXPECT_EQ(std::filesystem::file_size(file), 8U);

  const std::string path = directory.path() + "/mux";
  std::filesystem::rename(path, path + ".left");
  auto successor = listenAt(path);
  daemon = nullptr;
  EXPECT_TRUE(std::filesystem::exists(path)) << "another's socket";
  EXPECT_TRUE(std::filesystem::exists(path + ".left"));
  EXPECT_TRUE(listenAt(path + ".left")) << "left by an ended process";
}

TEST_F(MuxDaemonTest, SurvivesHostileClients) {
  const std::string hostile[] = {
      fromHex("FFFFFFFF 01000000 08000000 4D000000"),  // announces 4 GB
      fromHex("00001000 01000000 08000000 4D000000"),  // 1 MiB
      fromHex("0F000000 01000000 08000000 4D000000"),  // shorter than its own header
      listenRequest + listenRequest,
  };
  for (const std::string& bytes : hostile) {
    const Descriptor connection = client();
    send(connection, bytes);
    received(connection);
    EXPECT_TRUE(isClosed(connection)) << bytes;
  }
  const Descriptor silent = client();  // asks and never reads
  const std::string bytes = connectRequest(9, 10505);
  bool isHeldBack = false;
  for (int count = 0; count < 20'000 && !isHeldBack; ++count) {
    isHeldBack = ::send(silent.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0;
    queue->drain();
  }
  EXPECT_TRUE(isHeldBack) << "the daemon goes on reading what it cannot answer";

  const Descriptor connection = client();
  send(connection, listenRequest);
  EXPECT_EQ(received(connection), result('0'));
}

}  // namespace
}  // namespace tandemview
