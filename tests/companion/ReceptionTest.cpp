#include "companion/Reception.h"

#include <gtest/gtest.h>

#include "support/TemporaryDirectory.h"

namespace tandemview {
namespace {

using Lines = std::vector<std::string>;

class ReceptionTest : public testing::Test {
 protected:
  void start() {
    reception.emplace(directory.path() + "/new/companion.json",
                      Reception::Output{.ask =
                                            [this](const std::optional<WindowQuestion>& question) {
                                              events.push_back(question ? question->lines.front() : "no question");
                                            },
                                        .useCode = [this](const std::string& code) { events.push_back("use " + code); },
                                        .complain = [this](const std::string& text) { events.push_back(text); }});
    reception->start();
  }
  void come(const std::string& address) {
    reception->hostDidCome(address, [this, address] { events.push_back("admit " + address); });
  }
  Lines take() { return std::exchange(events, {}); }

  TemporaryDirectory directory;
  std::optional<Reception> reception;
  Lines events;
};

TEST_F(ReceptionTest, TheCodeAndTheFirstHostAreAskedForOnce) {
  const std::string question = "The computer 10.0.0.1 wants to use this screen.";
  const std::string waiting = "Waiting for the computer with the pairing code ";
  start();
  EXPECT_EQ(take(), Lines{"Type the pairing code"});
  reception->didAnswer("42");
  EXPECT_EQ(take(), (Lines{"use 42", waiting + "42"}));
  come("10.0.0.1");
  come("10.0.0.1");
  come("10.0.0.2");
  EXPECT_EQ(take(), Lines{question}) << "a host comes every few seconds";
  reception->didAnswer("no");
  come("10.0.0.1");
  EXPECT_EQ(take(), Lines{waiting + "42"});

  start();
  EXPECT_EQ(take(), (Lines{"use 42", waiting + "42"}));
  come("10.0.0.1");
  reception->didAnswer("yes");
  reception->linkDidChange(LinkStatus::State::Connected);
  come("10.0.0.2");
  EXPECT_EQ(take(), (Lines{question, "admit 10.0.0.1", "no question"})) << "nothing pops up over what is used";

  start();
  take();
  come("fe80::1");
  reception->didAnswer("43");
  EXPECT_EQ(take(), Lines{"The computer fe80::1 wants to use this screen."}) << "typed before it was asked";
  reception->didAnswer("yes");
  reception->didAnswer("yes");
  EXPECT_EQ(take(), Lines{"admit fe80::1"});

  start();
  take();
  come("10.0.0.1");
  come("fe80::1");
  EXPECT_EQ(take(), (Lines{"admit 10.0.0.1", "admit fe80::1"})) << "a computer has several addresses";
  come("10.0.0.2");
  reception->linkDidChange(LinkStatus::State::Connected);
  reception->linkDidChange(LinkStatus::State::Lost);
  EXPECT_EQ(take(), (Lines{"The computer 10.0.0.2 wants to use this screen.", "no question", waiting + "42"}));
  reception->didAnswer("43");
  come("10.0.0.1");
  EXPECT_EQ(take(), (Lines{"use 43", waiting + "43", question})) << "another code is another computer's";
}

}  // namespace
}  // namespace tandemview
