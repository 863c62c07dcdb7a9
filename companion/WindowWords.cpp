#include "companion/WindowWords.h"

#include <fmt/format.h>

namespace tandemview {

namespace {

using Texts = std::vector<std::string>;
using State = LinkStatus::State;

constexpr const char* keysOfTheWindow = "F8 statistics, F9 trackpad, F10 turn, F11 full screen";

std::string describe(const LinkStatus& link, std::optional<FrameSize> picture) {
  switch (link.state) {
    case State::Waiting:
      return link.ways.empty() ? "waiting" : fmt::format("waiting ({})", fmt::join(link.ways, "; "));
    case State::Connected:
      return picture ? "connected, " + picture->text() : "connected";
    case State::Lost:
      return "connection lost";
  }
  return "";
}

void append(Texts& lines, const Texts& more) {
  lines.insert(lines.end(), more.begin(), more.end());
}

}  // namespace

Texts windowWords(const WindowContents& contents, const Texts& prompt, bool isPictureTrue) {
  const LinkStatus& link = contents.link;
  Texts lines;
  if (link.state == State::Lost) lines = {"The connection is lost: " + link.reason, ""};
  if (!prompt.empty()) {
    append(lines, prompt);
  } else if (link.state == State::Connected) {
    return isPictureTrue ? Texts() : Texts{"Connected. The picture comes in a few seconds"};
  } else {
    append(lines, {link.state == State::Lost ? "Waiting for the computer" : "Waiting for a computer", ""});
    append(lines, link.ways);
  }
  if (!contents.notice.empty()) append(lines, {"", contents.notice});
  append(lines, {"", keysOfTheWindow});
  return lines;
}

std::string windowTitle(const LinkStatus& link, std::optional<FrameSize> picture) {
  return fmt::format("Tandemview companion \u00B7 {}", describe(link, picture));
}

}  // namespace tandemview
