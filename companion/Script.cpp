#include "companion/Script.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <nlohmann/json.hpp>

namespace tandemview {

namespace {

using Kind = ScriptAction::Kind;

/// Eleven days; beyond them, a time is a slip of the pen.
constexpr double longestSeconds = 1e6;

constexpr std::string_view blanks = " \t\r";

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// Cuts the first word off `text`.
std::string_view takeWord(std::string_view& text) {
  const std::string_view word = text.substr(0, text.find_first_of(blanks));
  text = trimmed(text.substr(word.size()));
  return word;
}

template <typename Number>
std::optional<Number> number(std::string_view text, int base = 10) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<double> seconds(std::string_view text) {
  const std::string copy(text);
  char* end = nullptr;
  const double value = std::strtod(copy.c_str(), &end);  // macOS's library has no std::from_chars for it
  if (copy.empty() || *end != '\0' || !(value >= 0 && value <= longestSeconds)) return std::nullopt;
  return value;
}

std::optional<std::string> bytesFromHex(std::string_view text) {
  if (text.size() % 2 != 0) return std::nullopt;
  std::string bytes;
  for (std::size_t index = 0; index < text.size(); index += 2) {
    const auto byte = number<std::uint8_t>(text.substr(index, 2), 16);
    if (!byte) return std::nullopt;
    bytes.push_back(static_cast<char>(*byte));
  }
  return bytes;
}

// The readers of an action's arguments. False: these are none.

bool nothing(ScriptAction&, std::string_view arguments) {
  return arguments.empty();
}

bool text(ScriptAction& action, std::string_view arguments) {
  action.text = arguments;
  return !arguments.empty();
}

bool jsonObject(ScriptAction& action, std::string_view arguments) {
  action.text = arguments;
  return nlohmann::json::parse(arguments, nullptr, /*allow_exceptions=*/false).is_object();
}

bool wholeNumber(ScriptAction& action, std::string_view arguments) {
  action.number = number<std::uint32_t>(arguments);
  return action.number.has_value();
}

bool wholeNumberOrNothing(ScriptAction& action, std::string_view arguments) {
  return arguments.empty() || wholeNumber(action, arguments);
}

bool duration(ScriptAction& action, std::string_view arguments) {
  const auto value = seconds(arguments);
  action.seconds = value.value_or(0);
  return value.has_value();
}

bool scale(ScriptAction& action, std::string_view arguments) {
  const auto value = seconds(arguments);
  action.scale = value.value_or(0);
  return value && *value > 0;
}

bool onOrOff(ScriptAction& action, std::string_view arguments) {
  action.number = arguments == "on" ? 1 : 0;
  return arguments == "on" || arguments == "off";
}

bool frameSize(ScriptAction& action, std::string_view arguments) {
  const auto value = frameSizeFromText(arguments);
  action.size = value.value_or(FrameSize());
  return value.has_value();
}

bool typeAndBytes(ScriptAction& action, std::string_view arguments) {
  const bool hasType = wholeNumber(action, takeWord(arguments));
  const auto bytes = bytesFromHex(arguments);
  action.text = bytes.value_or("");
  return hasType && bytes;
}

struct Verb {
  std::string_view name;
  Kind kind;
  bool (*readArguments)(ScriptAction&, std::string_view);
  const char* usage;
  const char* help;
};

constexpr std::array verbs = {
    Verb{"info", Kind::info, nothing, "nothing", "send the screen's description again"},
    Verb{"ping", Kind::ping, nothing, "nothing", "send a ping"},
    Verb{"touch", Kind::touch, jsonObject, "a JSON object", "send a touch event"},
    Verb{"key", Kind::key, jsonObject, "a JSON object", "send a key event"},
    Verb{"rotate", Kind::rotate, nothing, "nothing", "swap width and height"},
    Verb{"size", Kind::size, frameSize, "a size such as 1290x2796", "take another screen"},
    Verb{"scale", Kind::scale, scale, "a number above 0", "take other pixels per point"},
    Verb{"idiom", Kind::idiom, text, "a text", "become another kind of device"},
    Verb{"quality", Kind::quality, text, "a text", "take another quality mode"},
    Verb{"fullresolution", Kind::fullResolution, onOrOff, "on or off", "expect the frames of a host set to it"},
    Verb{"frame", Kind::waitForFrame, duration, "seconds", "wait so long for the next frame; the script's clock stops"},
    Verb{"detach", Kind::detach, wholeNumberOrNothing, "a device's number or nothing", "unplug it, or the last one"},
    Verb{"attach", Kind::attach, wholeNumberOrNothing, "a device's number or nothing", "plug it in, or the phone"},
    Verb{"hangup", Kind::hangUp, nothing, "nothing", "close the phone's connection"},
    Verb{"refuse", Kind::refuse, wholeNumber, "a result's number", "answer every Connect with it; 0 accepts again"},
    Verb{"stall", Kind::stall, duration, "seconds", "read nothing for so long"},
    Verb{"silent", Kind::silent, duration, "seconds", "send no pings for so long"},
    Verb{"announce", Kind::announce, wholeNumber, "a length in bytes", "send the head of such a message, and no more"},
    Verb{"raw", Kind::raw, typeAndBytes, "a frame type and bytes in hexadecimal", "send that frame"},
    Verb{"quit", Kind::quit, nothing, "nothing", "end"},
};

tl::expected<ScriptAction, std::string> parseAction(std::string_view line) {
  ScriptAction action;
  const auto time = seconds(takeWord(line));
  if (!time) return tl::unexpected(std::string("a line starts with a time in seconds"));
  action.time = *time;
  action.line = line;
  const std::string_view name = takeWord(line);
  const auto verb = std::ranges::find(verbs, name, &Verb::name);
  if (verb == verbs.end()) return tl::unexpected(fmt::format("there is no action \"{}\"", name));
  action.kind = verb->kind;
  if (!verb->readArguments(action, line)) return tl::unexpected(fmt::format("{} takes {}", name, verb->usage));
  return action;
}

}  // namespace

tl::expected<std::vector<ScriptAction>, std::string> parseScript(std::string_view script) {
  std::vector<ScriptAction> actions;
  for (int lineNumber = 1; !script.empty(); ++lineNumber) {
    const std::size_t end = std::min(script.find('\n'), script.size());
    const std::string_view line = trimmed(script.substr(0, end));
    script.remove_prefix(std::min(end + 1, script.size()));
    if (line.empty() || line.front() == '#') continue;
    auto action = parseAction(line);
    if (!action) return tl::unexpected(fmt::format("line {}: {}", lineNumber, action.error()));
    actions.push_back(std::move(*action));
  }
  std::ranges::stable_sort(actions, {}, &ScriptAction::time);
  return actions;
}

std::string scriptHelp() {
  std::string text;
  for (const Verb& verb : verbs) text += fmt::format("  {:<16}{} (takes {})\n", verb.name, verb.help, verb.usage);
  return text;
}

}  // namespace tandemview
