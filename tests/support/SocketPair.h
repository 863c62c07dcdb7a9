#pragma once

#include <sys/socket.h>
#include <unistd.h>

#include <string_view>

#include "runtime/Descriptor.h"
#include "runtime/Socket.h"

namespace tandemview {

/// Two connected Unix sockets: `ours` non-blocking, for the code under test, `theirs` blocking, for the test.
struct SocketPair {
  SocketPair() {
    int descriptors[2] = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, descriptors) != 0) return;
    ours = Descriptor(descriptors[0]);
    theirs = Descriptor(descriptors[1]);
    makeNonBlocking(ours.get());
  }

  void send(std::string_view bytes) const { (void)!::write(theirs.get(), bytes.data(), bytes.size()); }
  void hangUp() { theirs = Descriptor(); }

  Descriptor ours;
  Descriptor theirs;
};

/// The bytes of hexadecimal text; blanks are skipped.
inline std::string fromHex(std::string_view text) {
  std::string bytes;
  std::string digits;
  for (const char character : text) {
    if (character == ' ') continue;
    digits += character;
    if (digits.size() < 2) continue;
    bytes += static_cast<char>(std::stoi(digits, nullptr, 16));
    digits.clear();
  }
  return bytes;
}

}  // namespace tandemview
