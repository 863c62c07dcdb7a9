#pragma once

#include "end_to_end/Program.h"

namespace tandemview {

/// For programs on an X display.
inline Program::Environment onX11(const std::string& displayName) {
  return {{"DISPLAY", displayName},
          {"LC_ALL", "C.UTF-8"},
          {"NO_AT_BRIDGE", "1"},
          {"GDK_BACKEND", "x11"},
          {"GTK_IM_MODULE", "gtk-im-context-simple"}};
}

/// A program on an X display, that others have written. What it complains of is dropped.
class ClientProcess : public Program {
 public:
  ClientProcess(const std::string& displayName, const std::vector<std::string>& command)
      : Program(quiet(command), onX11(displayName)) {}

 private:
  static std::vector<std::string> quiet(const std::vector<std::string>& command) {
    std::vector<std::string> words = {"/bin/sh", "-c", "exec \"$@\" </dev/null 2>/dev/null", "sh"};
    words.insert(words.end(), command.begin(), command.end());
    return words;
  }
};

/// The input events that `xev` has printed, one each: "motion 1290,7", "button 1 press 1290,7", "press c", "release c",
/// followed by the state (modifiers and buttons, in hexadecimal) if there is one.
std::vector<std::string> xevEvents(const std::string& output);

}  // namespace tandemview
