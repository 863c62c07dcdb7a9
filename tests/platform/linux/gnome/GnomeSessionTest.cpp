#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>

#include "fakes/LogRecorder.h"
#include "fakes/MemoryUserDefaults.h"
#include "platform/linux/gnome/capture/GnomeCaptureSystem.h"
#include "platform/linux/gnome/display/GnomeDisplaySystem.h"
#include "platform/linux/gnome/display/GnomeScreens.h"
#include "runtime/SerialQueue.h"
#include "support/PrivateGnome.h"

namespace tandemview {
namespace {

class GnomeSessionTest : public testing::Test {
 protected:
  void open(const std::vector<std::string>& monitors = {"1280x800"}) {
    gnome_.emplace(monitors);
    gnome_->enter();
    session_ = GnomeSession::open(settings_);
    displays_ = std::make_shared<GnomeDisplaySystem>(session_);
    screens_ = std::make_shared<GnomeScreens>(session_);
  }

  std::optional<PrivateGnome> gnome_;
  std::shared_ptr<MemoryUserDefaults> settings_ = std::make_shared<MemoryUserDefaults>();
  std::shared_ptr<GnomeSession> session_;
  std::shared_ptr<GnomeDisplaySystem> displays_;
  std::shared_ptr<GnomeScreens> screens_;
};

TEST_F(GnomeSessionTest, First) {
  open();
  EXPECT_TRUE(session_->isOffered());
  const auto t = std::chrono::steady_clock::now();
  const auto ms = [&] { return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t).count(); };
  ASSERT_TRUE(session_->show({644, 1398}));
  std::printf("shown %f\n", ms());
  auto b = screens_->bounds(*session_->display());
  std::printf("%f %f %f %f\n", b.x, b.y, b.width, b.height);
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(session_->show(i % 2 ? PixelSize{644, 1398} : PixelSize{1398, 644}));
    std::printf("resized %f\n", ms());
  b = screens_->bounds(*session_->display());
  std::printf("%f %f %f %f\n", b.x, b.y, b.width, b.height);
  }
  session_->hide();
    std::printf("hidden %f\n", ms());
}

}  // namespace
}  // namespace tandemview
