#include <gtest/gtest.h>

#include <cstdlib>
#include <future>

#include "platform/linux/x11/capture/X11CaptureSystem.h"
#include "runtime/SerialQueue.h"
#include "support/PrivateXServer.h"
#include "support/UntrustedCookie.h"

namespace tandemview {
namespace {

/// What a capture on this server begins with.
std::optional<Error> errorOfContent(const std::string& displayName) {
  const auto queue = SerialQueue::withThread("main");
  X11CaptureSystem system(queue, displayName);
  std::promise<std::optional<Error>> listed;
  system.shareableContent(false, true, [&listed](const auto& displays) {
    listed.set_value(displays ? std::nullopt : std::optional(displays.error()));
  });
  return listed.get_future().get();
}

TEST(UntrustedClientTest, HearsThatTheCaptureIsDeclined) {
  const PrivateXServer server;
  const UntrustedCookie cookie(server.displayName());
  EXPECT_FALSE(errorOfContent(server.displayName()));
  ::setenv("XAUTHORITY", cookie.path().c_str(), 1);
  const auto error = errorOfContent(server.displayName());
  ::unsetenv("XAUTHORITY");
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain, streamErrorDomain);
  EXPECT_EQ(error->code, userDeclinedCapture);

  const auto nowhere = errorOfContent(":9999");
  ASSERT_TRUE(nowhere);
  EXPECT_NE(nowhere->domain, streamErrorDomain);
}

}  // namespace
}  // namespace tandemview
