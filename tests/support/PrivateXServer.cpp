#include "support/PrivateXServer.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>

namespace tandemview {

PrivateXServer::PrivateXServer(const std::string& devices) {
  std::ofstream(directory_.path() + "/xorg.conf") << std::ifstream(PRIVATE_XORG_CONFIGURATION).rdbuf() << devices;
  // A number may be taken all the same.
  constexpr int mostAttempts = 5;
  for (int attempt = 0; attempt < mostAttempts; ++attempt) {
    if (start()) return;
  }
  std::puts("Xorg (packages xserver-xorg-core and xserver-xorg-video-dummy) does not start");
  std::abort();
}

/// With setpriv, because a test that crashes leaves no server. With a number that nobody else comes upon: of the lowest
/// that is free, a server of another network, or the next one after this one's end, would take the clients. And with
/// its abstract socket alone, because that of the file system would replace such a server's.
bool PrivateXServer::start() {
  displayName_ = ":" + std::to_string(100 + std::random_device()() % 50'000);
  const std::string command = "exec setpriv --pdeathsig KILL Xorg " + displayName_ +
                              " -displayfd 3 -config \"$0/xorg.conf\" -logfile \"$0/log\" -noreset "
                              "-nolisten tcp -nolisten unix -novtswitch -sharevts 3>\"$0/number\" </dev/null";
  process_.emplace(std::vector<std::string>{"/bin/sh", "-c", command, directory_.path()}, Program::Environment());
  std::string number;  // and a line feed: the server takes connections
  Program::within30Seconds([&] {
    const bool isRunning = process_->isRunning();
    std::getline(std::ifstream(directory_.path() + "/number"), number, '\0');
    return number.ends_with('\n') || !isRunning;
  });
  return number.ends_with('\n');
}

PrivateXServer::~PrivateXServer() {
  if (process_) process_->end(SIGTERM);
}

void PrivateXServer::suspend() const {
  ::kill(process_->process(), SIGSTOP);
}

void PrivateXServer::resume() const {
  ::kill(process_->process(), SIGCONT);
}

}  // namespace tandemview
