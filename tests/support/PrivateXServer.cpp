#include "support/PrivateXServer.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace tandemview {

namespace {

constexpr int startMilliseconds = 20'000;
constexpr int mostAttempts = 5;

[[noreturn]] void failToStart(const char* what) {
  std::perror(what);
  std::abort();
}

/// The number that the server writes when it is ready; empty if it ended or took too long.
std::string readDisplayNumber(int descriptor) {
  std::string number;
  pollfd ready = {.fd = descriptor, .events = POLLIN, .revents = 0};
  while (::poll(&ready, 1, startMilliseconds) > 0) {
    char character = 0;
    if (::read(descriptor, &character, 1) != 1) return {};
    if (character == '\n') return number;
    number += character;
  }
  return {};
}

}  // namespace

PrivateXServer::PrivateXServer(const std::string& devices) {
  const std::string logPath = directory_.path() + "/log";
  const std::string configurationPath = directory_.path() + "/xorg.conf";
  std::ofstream(configurationPath) << std::ifstream(PRIVATE_XORG_CONFIGURATION).rdbuf() << devices;

  // Of two servers that choose the same number at the same moment, one ends.
  for (int attempt = 0; attempt < mostAttempts && displayName_.empty(); ++attempt) start(configurationPath, logPath);
  if (displayName_.empty()) failToStart("Xorg (packages xserver-xorg-core and xserver-xorg-video-dummy)");
}

void PrivateXServer::start(const std::string& configurationPath, const std::string& logPath) {
  std::array<int, 2> numberPipe{};
  if (::pipe2(numberPipe.data(), O_CLOEXEC) != 0) failToStart("pipe2");
  const std::string numberDescriptor = std::to_string(numberPipe[1]);
  const std::array arguments = {"Xorg",
                                "-displayfd",
                                numberDescriptor.c_str(),
                                "-config",
                                configurationPath.c_str(),
                                "-logfile",
                                logPath.c_str(),
                                "-noreset",
                                "-nolisten",
                                "tcp",
                                "-novtswitch",
                                "-sharevts"};
  std::array<char*, arguments.size() + 1> argv{};
  for (std::size_t index = 0; index < arguments.size(); ++index) argv[index] = const_cast<char*>(arguments[index]);
  process_ = ::fork();
  if (process_ < 0) failToStart("fork");
  if (process_ == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that crashes leaves no server
    ::fcntl(numberPipe[1], F_SETFD, 0);
    const int nowhere = ::open("/dev/null", O_RDWR);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::dup2(nowhere, standard);
    ::execvp(argv[0], argv.data());
    ::_exit(127);
  }
  ::close(numberPipe[1]);
  const std::string number = readDisplayNumber(numberPipe[0]);
  ::close(numberPipe[0]);
  if (number.empty()) return kill();
  displayName_ = ":" + number;
}

PrivateXServer::~PrivateXServer() {
  if (process_ > 0) ::kill(process_, SIGTERM);
  waitForEnd();
}

void PrivateXServer::suspend() const {
  ::kill(process_, SIGSTOP);
}

void PrivateXServer::resume() const {
  ::kill(process_, SIGCONT);
}

void PrivateXServer::kill() {
  ::kill(process_, SIGKILL);
  waitForEnd();
}

void PrivateXServer::waitForEnd() {
  if (process_ > 0) ::waitpid(process_, nullptr, 0);
  process_ = 0;
}

}  // namespace tandemview
