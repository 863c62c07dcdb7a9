#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tl/expected.hpp>
#include <vector>

#include "companion/FrameSize.h"

namespace tandemview {

/// One line of a script: something that the phone, its user or its cable does at a given time.
struct ScriptAction {
  enum class Kind {
    info,  // send the device info again
    ping,
    touch,           // text: the message's JSON object
    key,             // text: the message's JSON object
    rotate,          // swap width and height
    quality,         // text
    size,            // size
    scale,           // scale
    idiom,           // text
    fullResolution,  // number: whether the host is set to it, 0 or 1
    waitForFrame,    // seconds: how long at most, until the next frame comes; the script's clock stands still meanwhile
    detach,          // number: the device, if not the one attached last
    attach,          // number: the device, if not the phone's first number
    hangUp,          // close the phone's connection
    refuse,          // number: the result of every Connect from now on; 0 accepts
    stall,           // seconds without reading
    silent,          // seconds without pings
    announce,        // number: the length of a message whose head is sent alone
    raw,             // number: the frame's type; text: its payload's bytes
    quit,
  };

  double time = 0;  // seconds of the script's clock, which starts with the program
  Kind kind = Kind::quit;
  std::string line;  // the action as it is written
  std::string text;
  std::optional<std::uint32_t> number;
  double seconds = 0;
  double scale = 0;
  FrameSize size;
};

/// The actions of a script in the order of their times. A line is "SECONDS ACTION ARGUMENTS"; empty lines and what
/// follows a '#' at the start of a line count for nothing. The error names the line.
tl::expected<std::vector<ScriptAction>, std::string> parseScript(std::string_view text);

/// What each action takes, a line for each.
std::string scriptHelp();

}  // namespace tandemview
