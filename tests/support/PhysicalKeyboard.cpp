#include "support/PhysicalKeyboard.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace tandemview {

namespace {

// The driver's protocol (inputtest(4)): every message begins with its length and its type.

enum class MessageType : std::uint32_t { ClientVersion = 0, WaitForSync = 1, Key = 5 };

struct Header {
  std::uint32_t length;
  MessageType type;
};
struct ClientVersion {
  Header header = {sizeof(ClientVersion), MessageType::ClientVersion};
  std::uint16_t major = 1;
  std::uint16_t minor = 0;
};
struct WaitForSync {
  Header header = {sizeof(WaitForSync), MessageType::WaitForSync};
};
struct Key {
  Header header = {sizeof(Key), MessageType::Key};
  std::int32_t code = 0;
  std::uint32_t isPress = 0;
};

template <typename Message>
void send(const Descriptor& connection, const Message& message) {
  ASSERT_EQ(::write(connection.get(), &message, sizeof message), static_cast<ssize_t>(sizeof message));
}

void readAnswer(const Descriptor& connection, std::size_t length) {
  std::uint8_t answer[16];
  ASSERT_EQ(::recv(connection.get(), answer, length, MSG_WAITALL), static_cast<ssize_t>(length));
}

}  // namespace

std::string PhysicalKeyboard::configuration() const {
  return fmt::format(R"(
Section "InputDevice"
  Identifier "keyboard"
  Driver "inputtest"
  Option "DeviceType" "Keyboard"
  Option "SocketPath" "{}"
EndSection
Section "ServerLayout"
  Identifier "layout"
  Screen "screen"
  InputDevice "keyboard" "CoreKeyboard"
EndSection
)",
                     socketPath());
}

void PhysicalKeyboard::connect() {
  connection_ = Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  socketPath().copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::connect(connection_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  send(connection_, ClientVersion());
  readAnswer(connection_, sizeof(ClientVersion));
}

void PhysicalKeyboard::turn(std::uint8_t key, bool isDown) {
  if (!connection_) connect();
  send(connection_, Key{.code = key, .isPress = isDown});
  send(connection_, WaitForSync());
  readAnswer(connection_, sizeof(WaitForSync));
}

}  // namespace tandemview
