#include <sys/stat.h>

#include <fstream>

#include "platform/linux/alerts/AlertQueue.h"
#include "platform/linux/alerts/NotificationAlerts.h"
#include "platform/linux/alerts/PrintedAlerts.h"
#include "platform/linux/alerts/ZenityAlerts.h"
#include "support/NotificationStandIn.h"
#include "support/Stranger.h"
#include "support/TemporaryDirectory.h"
#include "support/TrayFixture.h"

namespace tandemview {
namespace {

class AlertsTest : public TrayFixture {
 protected:
  using Manner = NotificationStandIn::Manner;

  void show(const std::string& message, const std::vector<std::string>& buttons) {
    alerts_->show({.message = message, .informativeText = "a < b", .buttons = buttons},
                  [this, message](int button) { answers_.push_back(message + " " + std::to_string(button)); });
  }
  bool answersBecome(const std::vector<std::string>& answers) {
    return becomes([&] { return answers_ == answers; });
  }
  bool shows(NotificationStandIn& server, const std::string& text) {
    if (!becomes([&] { return server.shown() == text; })) return false;
    answered([&] { server.settle(); });
    return true;
  }
  void startServer(const std::vector<std::string>& capabilities, Manner manner = Manner::Usual) {
    server_.reset();
    server_.emplace(connect(), capabilities, manner);
  }

  std::shared_ptr<AlertSystem> printed_ = std::make_shared<PrintedAlerts>();
  std::shared_ptr<AlertSystem> alerts_ = std::make_shared<NotificationAlerts>(queue_, printed_);
  std::optional<NotificationStandIn> server_;
  std::vector<std::string> answers_;
};

TEST_F(AlertsTest, NotificationsAreAnsweredOnceByTheServer) {
  bus_.start();
  startServer({"actions", "body", "body-markup"});
  show("first", {"Yes", "Later", "No"});
  ASSERT_TRUE(shows(*server_, "first|a &lt; b|0|Yes|1|Later|2|No"));
  EXPECT_EQ(server_->desktopEntry(), "org.tandemview.Tandemview") << "as packaging/ installs it";
  for (const char* nonsense : {"", "3", "-1", "1x", "99999999999999"}) server_->choose(1, nonsense);
  answered([this] {
    Stranger stranger(bus_.address());
    const std::string name = "org.freedesktop.Notifications";
    stranger.send("/org/freedesktop/Notifications", name, "ActionInvoked", 1U, std::string("0"));
    stranger.send("/org/freedesktop/Notifications", name, "NotificationClosed", 1U, 2U);
    stranger.denyOwner(name);
  });
  server_->choose(7, "0");
  server_->choose(1, "1");
  server_->close(1);
  ASSERT_TRUE(answersBecome({"first 1"}));
  show("second", {"Yes", "No"});
  ASSERT_TRUE(shows(*server_, "second|a &lt; b|0|Yes|1|No"));
  server_->close(2);
  ASSERT_TRUE(answersBecome({"first 1", "second 1"}));
  show("third", {"OK"});
  ASSERT_TRUE(shows(*server_, "third|a &lt; b"));
  show("fourth", {"OK"});  // the newest is the one on the screen
  ASSERT_TRUE(shows(*server_, "fourth|a &lt; b"));
  EXPECT_TRUE(answersBecome({"first 1", "second 1", "third 0"}));
  EXPECT_TRUE(becomes([&] { return server_->withdrawn() == std::vector{3U}; }));
  server_.reset();
  EXPECT_TRUE(answersBecome({"first 1", "second 1", "third 0", "fourth 0"}));
  startServer({"actions"});
  show("last", {"OK"});
  ASSERT_TRUE(shows(*server_, "last|a < b"));
  alerts_.reset();
  EXPECT_TRUE(becomes([&] { return server_->withdrawn() == std::vector{1U}; }));
  EXPECT_EQ(log_.take(), std::vector<std::string>());
}

/// However a server behaves, the next alert is shown.
TEST_F(AlertsTest, NoServerKeepsAnAlertFromItsAnswer) {
  bus_.start();
  startServer({"actions"}, Manner::AnswersBeforeItReplies);
  show("early", {"Yes", "Later", "No"});
  EXPECT_TRUE(answersBecome({"early 1"}));

  startServer({"actions"}, Manner::RepliesZero);
  show("zero", {"Yes", "No"});
  EXPECT_TRUE(answersBecome({"early 1", "zero 1"}));
  EXPECT_EQ(log_.take().size(), 2U) << "it is printed instead";

  startServer({"actions"}, Manner::RepliesWhenTold);
  show("late", {"Yes", "No"});
  ASSERT_TRUE(shows(*server_, "late|a < b|0|Yes|1|No"));
  show("later", {"Yes", "No"});
  EXPECT_TRUE(answersBecome({"early 1", "zero 1", "late 1"}));
  ASSERT_TRUE(shows(*server_, "later|a < b|0|Yes|1|No"));
  queue_->advance(10);
  EXPECT_EQ(answers_.back(), "later 1");
  EXPECT_EQ(log_.take().size(), 2U);
  server_->reply();
  EXPECT_TRUE(becomes([&] { return server_->withdrawn() == std::vector{2U}; })) << "it stands elsewhere already";
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
  startServer({"body"});
  show("question", {"Yes", "No"});  // no buttons
  ASSERT_TRUE(answersBecome({"question 1", "question 1", "question 1"}));
  EXPECT_EQ(log_.take(), lines);
  show("news", {"OK"});
  EXPECT_TRUE(shows(*server_, "news|a < b"));
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
  alerts_ = std::make_shared<AlertQueue>(std::make_shared<ZenityAlerts>(queue_, printed_));
  for (const auto& [script, answer] : std::vector<std::pair<std::string, int>>{{"exit 0", 0},
                                                                               {"exit 1", 2},
                                                                               {"echo Later; exit 1", 1},
                                                                               {"kill -9 $$", 2},
                                                                               {"yes | head -c 100000; exit 1", 2}}) {
    install(script);
    answers_.clear();
    show("q", {"Yes", "Later", "No"});
    show("then", {"Yes", "Later", "No"});
    EXPECT_TRUE(answersBecome({"q " + std::to_string(answer), "then " + std::to_string(answer)})) << script;
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
