#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>

#include "companion/LinkStatus.h"
#include "companion/WindowContents.h"
#include "runtime/Queue.h"

namespace tandemview {

/// What a start without options does: asks for the pairing code, and whether the first computer that comes may use this
/// screen, as it gets what is typed here. Both are remembered in a file. Lives on one queue.
class Reception {
 public:
  struct Output {
    /// Absent: nothing more is asked.
    std::function<void(std::optional<WindowQuestion> question)> ask;
    /// From now on the host with this code is waited for.
    std::function<void(const std::string& code)> useCode;
    /// What was asked for cannot be remembered: a line for people.
    std::function<void(const std::string& text)> complain;
  };

  Reception(std::string path, Output output);

  void start();
  void linkDidChange(LinkStatus::State state);
  /// A host at `address` has connected. `admit` lets it in; without that call it is kept waiting. While another uses
  /// the screen, nothing is asked: what the user types then is not meant as an answer.
  void hostDidCome(const std::string& address, Work admit);
  void didAnswer(const std::string& answer);

 private:
  void askForCode();
  void remember();

  const std::string path_;
  const Output output_;
  std::string code_;
  std::set<std::string> hosts_;       // the addresses that were let in: a host may have several
  std::set<std::string> turnedAway_;  // until the end of the program
  bool isInUse_ = false;

  std::string visitor_;  // who is asked about; empty: nobody
  Work admitVisitor_;
};

}  // namespace tandemview
