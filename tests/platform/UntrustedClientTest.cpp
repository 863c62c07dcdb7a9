#include <gtest/gtest.h>

#include <cstdlib>
#include <future>

#include "platform/linux/X11CaptureSystem.h"
#include "runtime/SerialQueue.h"
#include "support/PrivateXServer.h"
#include "support/UntrustedCookie.h"

namespace tandemview {
namespace {

/// What becomes of a capture of the server's first display, from the list of displays to the start.
std::optional<Error> errorOfCapture(const std::string& displayName) {
  const auto queue = SerialQueue::withThread("main");
  X11CaptureSystem system(queue, displayName);
  std::promise<Result<std::vector<CapturableDisplay>>> content;
  system.shareableContent(false, true, [&content](auto displays) { content.set_value(std::move(displays)); });
  const auto displays = content.get_future().get();
  const auto stream =
      system.makeStream({.displayID = displays ? displays->front().displayID : 0, .width = 8, .height = 8},
                        {.sampleQueue = queue, .didOutputSample = [](auto...) {}, .didStopWithError = [](auto...) {}});
  std::promise<std::optional<Error>> started;
  (*stream)->startCapture([&started](const std::optional<Error>& error) { started.set_value(error); });
  const auto error = started.get_future().get();
  EXPECT_EQ(error.has_value(), !displays.has_value());
  if (error && !displays) {
    EXPECT_EQ(error->code, displays.error().code);
  }
  return error;
}

TEST(UntrustedClientTest, HearsThatTheCaptureIsDeclined) {
  const PrivateXServer server;
  const UntrustedCookie cookie(server.displayName());
  EXPECT_FALSE(errorOfCapture(server.displayName()));
  ::setenv("XAUTHORITY", cookie.path().c_str(), 1);
  const auto error = errorOfCapture(server.displayName());
  ::unsetenv("XAUTHORITY");
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain, streamErrorDomain);
  EXPECT_EQ(error->code, userDeclinedCapture);

  const auto nowhere = errorOfCapture(":9999");
  ASSERT_TRUE(nowhere);
  EXPECT_NE(nowhere->domain, streamErrorDomain);
}

}  // namespace
}  // namespace tandemview
