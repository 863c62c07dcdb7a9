#pragma once

#include <optional>
#include <string>
#include <vector>

#include "companion/WindowContents.h"

union SDL_Event;

namespace tandemview {

/// What the window asks its user, and as much of the answer as has been typed.
class WindowPrompt {
 public:
  /// What was typed in answer to another question counts for nothing.
  void ask(const std::optional<WindowQuestion>& question);
  bool isAsking() const { return question_.has_value(); }

  /// The answer that the event completes, if it does; nothing is asked from then on.
  std::optional<std::string> handle(const SDL_Event& event);

  std::vector<std::string> lines() const;

 private:
  void typeCode(const SDL_Event& event);

  std::optional<WindowQuestion> question_;
  std::string answer_;
};

}  // namespace tandemview
