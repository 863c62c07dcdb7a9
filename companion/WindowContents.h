#pragma once

#include <optional>
#include <string>
#include <vector>

#include "companion/LinkStatus.h"

namespace tandemview {

/// What the window asks its user, until it is told to show something else.
struct WindowQuestion {
  enum class Answer {
    Code,   // two digits
    YesNo,  // "yes" or "no"
  };

  std::vector<std::string> lines;
  Answer answer = Answer::YesNo;

  bool operator==(const WindowQuestion&) const = default;
};

/// What the window says beside the picture.
struct WindowContents {
  LinkStatus link;
  std::string notice;                   // why no host can come over Wi-Fi; empty: one can
  std::vector<std::string> statistics;  // for whoever asks for them by a key
  std::optional<WindowQuestion> question;
};

}  // namespace tandemview
