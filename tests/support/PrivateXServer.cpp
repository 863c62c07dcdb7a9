#include "support/PrivateXServer.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace tandemview {

PrivateXServer::PrivateXServer(const std::string& devices) {
  std::ofstream(directory_.path() + "/xorg.conf") << std::ifstream(PRIVATE_XORG_CONFIGURATION).rdbuf() << devices;
  // Of two servers that choose the same number at the same moment, one ends.
  constexpr int mostAttempts = 5;
  for (int attempt = 0; attempt < mostAttempts; ++attempt) {
    if (start()) return;
  }
  std::puts("Xorg (packages xserver-xorg-core and xserver-xorg-video-dummy) does not start");
  std::abort();
}

/// With setpriv, because a test that crashes leaves no server; with its abstract socket alone, because that of the file
/// system would replace the one of a server of the same number in another network.
bool PrivateXServer::start() {
  const std::string command =
      "exec setpriv --pdeathsig KILL Xorg -displayfd 3 -config \"$0/xorg.conf\" -logfile \"$0/log\" -noreset "
      "-nolisten tcp -nolisten unix -novtswitch -sharevts 3>\"$0/number\" </dev/null";
  process_.emplace(std::vector<std::string>{"/bin/sh", "-c", command, directory_.path()}, Program::Environment());
  std::string number;  // and a line feed: the server takes connections
  Program::within30Seconds([&] {
    const bool isRunning = process_->isRunning();
    std::getline(std::ifstream(directory_.path() + "/number"), number, '\0');
    return number.ends_with('\n') || !isRunning;
  });
  if (!number.ends_with('\n')) return false;
  displayName_ = ":" + number.substr(0, number.size() - 1);
  return true;
}

PrivateXServer::~PrivateXServer() {
  if (process_) process_->end(SIGTERM);
}

void PrivateXServer::kill() {
  process_.reset();
  const std::string path = "/tmp/.X11-unix/X" + displayName_.substr(1);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path + 1, sizeof(address.sun_path) - 1);
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + path.size());
  number_ = Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ::bind(number_.get(), reinterpret_cast<const sockaddr*>(&address), length);
}

void PrivateXServer::suspend() const {
  ::kill(process_->process(), SIGSTOP);
}

void PrivateXServer::resume() const {
  ::kill(process_->process(), SIGCONT);
}

}  // namespace tandemview
