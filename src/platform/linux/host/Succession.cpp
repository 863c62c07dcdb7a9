#include "platform/linux/host/Succession.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace tandemview {

namespace {

constexpr const char* environmentVariable = "TANDEMVIEW_SUCCESSION";

/// Empty if there is no such descriptor.
Descriptor inherited(int number) {
  if (number <= STDERR_FILENO || ::fcntl(number, F_SETFD, FD_CLOEXEC) != 0) return Descriptor();
  return Descriptor(number);
}

}  // namespace

Succession Succession::take() {
  const char* const announced = std::getenv(environmentVariable);
  if (!announced) return {};
  Succession succession;
  int end = -1;
  int lock = -1;
  std::sscanf(announced, "%d:%d:%d", &succession.predecessor, &end, &lock);
  succession.predecessorEnd = inherited(end);
  succession.lidLock = inherited(lock);
  ::unsetenv(environmentVariable);
  return succession;
}

Succession Succession::ofThisProcess(Descriptor lidLock) {
  return {.predecessor = ::getpid(),
          .predecessorEnd = Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, ::getpid(), 0))),
          .lidLock = std::move(lidLock)};
}

std::string Succession::announcement() const {
  return fmt::format("{}={}:{}:{}", environmentVariable, predecessor, predecessorEnd.get(), lidLock.get());
}

bool Succession::waitForPredecessor(int seconds) const {
  if (!predecessorEnd) return true;
  pollfd end = {.fd = predecessorEnd.get(), .events = POLLIN, .revents = 0};
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (true) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    const int ready = ::poll(&end, 1, std::max(0, static_cast<int>(left.count())));
    if (ready >= 0) return ready > 0;
    if (errno != EINTR) return true;  // it can't be waited for
  }
}

}  // namespace tandemview
