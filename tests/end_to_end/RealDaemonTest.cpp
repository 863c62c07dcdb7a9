// The client of the USB daemon against Debian's own.

#include <gtest/gtest.h>
#include <unistd.h>

#include "end_to_end/Program.h"
#include "fakes/LogRecorder.h"
#include "fakes/ManualQueue.h"
#include "runtime/Socket.h"
#include "usb/PTUSBHub.h"

namespace tandemview {
namespace {

TEST(RealDaemonTest, ListensAndKnowsNoDevice) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root, for a /run of its own";
  // A mount namespace keeps its socket and lock file away from the machine's own daemon.
  Program daemon({"/usr/bin/unshare", "-m", "/bin/sh", "-c",
                  "mount -t tmpfs none /run && mkdir -p /run/lock && exec usbmuxd -f -v -U root -p"},
                 {});
  const std::string socketPath = "/proc/" + std::to_string(daemon.process()) + "/root/run/usbmuxd";
  ASSERT_TRUE(Program::within30Seconds([&] {
    const auto socket = connectedUnixSocket(socketPath);
    return socket.has_value();
  })) << daemon.output();

  LogRecorder log;
  const auto queue = ManualQueue::make();
  const auto hub = PTUSBHub::listeningHub({.socketPath = socketPath,
                                           .program = {.name = "Tandemview"},
                                           .queue = queue,
                                           .notificationCenter = std::make_shared<NotificationCenter>()});
  std::optional<Error> failure;
  hub->connectToDevice(
      99, 2345, [&](const std::optional<Error>& error, const std::shared_ptr<Stream>&) { failure = error; }, nullptr);
  ASSERT_TRUE(queue->drainUntil([&] { return failure.has_value(); }));
  EXPECT_EQ(failure->code, 2);
  EXPECT_EQ(failure->description, "unknown device");

  daemon.end(SIGTERM);
  EXPECT_TRUE(queue->drainUntil(  // which is told only if it has listened
      [&] { return log.count("⚠️ PTUSBHub: The USB daemon went away - trying again every 2 seconds") == 1; }));
}

}  // namespace
}  // namespace tandemview
