#include <sys/stat.h>

#include <atomic>
#include <fstream>
#include <mutex>
#include <optional>

#include "platform/linux/AlertQueue.h"
#include "platform/linux/NotificationAlerts.h"
#include "platform/linux/PrintedAlerts.h"
#include "platform/linux/ZenityAlerts.h"
#include "platform_bus/Stranger.h"
#include "platform_tray/TrayFixture.h"
#include "support/TemporaryDirectory.h"

namespace tandemview {
namespace {

/// A desktop's notifications, as far as a test can be one.
class NotificationServer {
 public:
  NotificationServer(std::unique_ptr<ServedConnection> bus, const std::vector<std::string>& capabilities)
      : bus_(std::move(bus)), object_(sdbus::createObject(**bus_, "/org/freedesktop/Notifications")) {
    object_->registerMethod("GetCapabilities").onInterface(interface).implementedAs([capabilities] {
      return capabilities;
    });
    object_->registerMethod("Notify").onInterface(interface).implementedAs(
        [this](const std::string&, std::uint32_t, const std::string&, const std::string& summary,
               const std::string& body, const std::vector<std::string>& actions,
               const std::map<std::string, sdbus::Variant>&, std::int32_t timeout) {
          const std::lock_guard lock(mutex_);
          shown_ = summary + "|" + body;
          for (const std::string& action : actions) shown_ += "|" + action;
          if (timeout != 0) shown_ += " expires";
          return ++notifications_;
        });
    object_->registerSignal("ActionInvoked").onInterface(interface).withParameters<std::uint32_t, std::string>();
    object_->registerSignal("NotificationClosed").onInterface(interface).withParameters<std::uint32_t, std::uint32_t>();
    object_->finishRegistration();
    (**bus_).requestName(interface);
  }

  std::string shown() {
    const std::lock_guard lock(mutex_);
    return shown_;
  }
  void choose(std::uint32_t notification, const std::string& action) {
    object_->emitSignal("ActionInvoked").onInterface(interface).withArguments(notification, action);
  }
  void close(std::uint32_t notification) {
    object_->emitSignal("NotificationClosed").onInterface(interface).withArguments(notification, std::uint32_t(2));
  }

 private:
  static constexpr const char* interface = "org.freedesktop.Notifications";
  std::unique_ptr<ServedConnection> bus_;
  std::unique_ptr<sdbus::IObject> object_;
  std::mutex mutex_;
  std::string shown_;
  std::uint32_t notifications_ = 0;
};

class AlertsTest : public TrayFixture {
 protected:
  void show(const std::string& message, const std::vector<std::string>& buttons) {
    alerts_->show({.message = message, .informativeText = "a < b", .buttons = buttons},
                  [this, message](int button) { answers_.push_back(message + " " + std::to_string(button)); });
  }
  bool answersBecome(const std::vector<std::string>& answers) {
    return becomes([&] { return answers_ == answers; });
  }
  bool shows(NotificationServer& server, const std::string& text) {
    return becomes([&] { return server.shown() == text; });
  }

  std::shared_ptr<AlertSystem> printed_ = std::make_shared<PrintedAlerts>();
  std::shared_ptr<AlertSystem> alerts_ =
      std::make_shared<AlertQueue>(std::make_shared<NotificationAlerts>(queue_, printed_));
  std::vector<std::string> answers_;
};

TEST_F(AlertsTest, NotificationsFollowEachOtherAndAreAnsweredOnce) {
  bus_.start();
  std::optional<NotificationServer> server;
  server.emplace(connect(), std::vector<std::string>{"actions", "body", "body-markup"});
  show("first", {"Yes", "Later", "No"});
  show("second", {"Yes", "No"});
  show("third", {"OK"});
  show("fourth", {"Yes", "No"});
  ASSERT_TRUE(shows(*server, "first|a &lt; b|0|Yes|1|Later|2|No"));
  for (const char* nonsense : {"", "3", "-1", "1x", "99999999999999"}) server->choose(1, nonsense);
  answered([this] {
    Stranger stranger(bus_.address());
    const std::string name = "org.freedesktop.Notifications";
    stranger.send("/org/freedesktop/Notifications", name, "ActionInvoked", 1U, std::string("0"));
    stranger.send("/org/freedesktop/Notifications", name, "NotificationClosed", 1U, 2U);
    stranger.denyOwner(name);
  });
  server->choose(7, "0");
  server->choose(1, "1");
  server->close(1);
  ASSERT_TRUE(shows(*server, "second|a &lt; b|0|Yes|1|No"));
  server->close(1);
  server->close(2);
  ASSERT_TRUE(shows(*server, "third|a &lt; b"));
  server->close(3);
  ASSERT_TRUE(shows(*server, "fourth|a &lt; b|0|Yes|1|No"));
  server.reset();
  EXPECT_TRUE(answersBecome({"first 1", "second 1", "third 0", "fourth 1"}));
  EXPECT_EQ(log_.take(), std::vector<std::string>());
}

TEST_F(AlertsTest, WhereNothingCanBeShownTheyArePrinted) {
  const std::vector<std::string> lines = {"💡 question", "   a < b"};
  show("question", {"Yes", "No"});  // no bus
  ASSERT_TRUE(answersBecome({"question 1"}));
  EXPECT_EQ(log_.take(), lines);
  bus_.start();
  show("question", {"Yes", "No"});  // nobody there
  ASSERT_TRUE(answersBecome({"question 1", "question 1"}));
  EXPECT_EQ(log_.take(), lines);
  NotificationServer server(connect(), {"body"});
  show("question", {"Yes", "No"});  // no buttons
  ASSERT_TRUE(answersBecome({"question 1", "question 1", "question 1"}));
  EXPECT_EQ(log_.take(), lines);
  show("news", {"OK"});
  EXPECT_TRUE(shows(server, "news|a < b"));
  answers_.clear();
  bus_.kill();
  EXPECT_TRUE(answersBecome({"news 0"}));
}

/// A script in place of the tool: the real one needs somebody who clicks.
TEST_F(AlertsTest, DialogsAreReadByWhatTheToolPrintsAndHowItEnds) {
  const TemporaryDirectory directory;
  const std::string tool = directory.path() + "/zenity";
  const std::string path = ::getenv("PATH");
  ::setenv("PATH", (directory.path() + ":" + path).c_str(), 1);
  ::setenv("DISPLAY", ":0", 1);
  const auto install = [&](const std::string& script) {
    std::ofstream(tool) << "#!/bin/sh\n" << script << '\n';
    ::chmod(tool.c_str(), 0700);
  };
  alerts_ = std::make_shared<ZenityAlerts>(queue_, printed_);
  for (const auto& [script, answer] : std::vector<std::pair<std::string, int>>{{"exit 0", 0},
                                                                               {"exit 1", 2},
                                                                               {"echo Later; exit 1", 1},
                                                                               {"kill -9 $$", 2},
                                                                               {"yes | head -c 100000; exit 1", 2}}) {
    install(script);
    answers_.clear();
    show("q", {"Yes", "Later", "No"});
    EXPECT_TRUE(answersBecome({"q " + std::to_string(answer)})) << script;
  }
  install("echo $$ >" + directory.path() + "/process; exec sleep 100");
  answers_.clear();
  show("q", {"Yes", "No"});
  pid_t process = 0;
  ASSERT_TRUE(becomes([&] {
    std::ifstream(directory.path() + "/process") >> process;
    return process > 0;
  }));
  alerts_.reset();
  EXPECT_EQ(::kill(process, 0), -1);
  ::setenv("PATH", path.c_str(), 1);
  ::unsetenv("DISPLAY");

  alerts_ = std::make_shared<ZenityAlerts>(queue_, printed_);
  show("q", {"Yes", "No"});
  EXPECT_EQ(answers_, std::vector<std::string>{"q 1"});
  EXPECT_EQ(log_.take().size(), 2U);
}

}  // namespace
}  // namespace tandemview
