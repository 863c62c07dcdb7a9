#include "input/KeyboardInjector.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "input/Characters.h"
#include "input/KeyCodes.h"
#include "input/KeyPress.h"
#include "input/StringMember.h"
#include "protocol/Message.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

using nlohmann::json;

EventFlags modifierFlag(const std::string& name) {
  if (name == "cmd") return EventFlag::command;
  if (name == "shift") return EventFlag::shift;
  if (name == "option") return EventFlag::option;
  if (name == "control") return EventFlag::control;
  return EventFlag::none;
}

/// None unless the message holds an array of nothing but strings.
EventFlags modifierFlags(const json& message) {
  const auto names = message.find("modifiers");
  if (names == message.end() || !names->is_array()) return EventFlag::none;
  if (!std::all_of(names->begin(), names->end(), [](const json& name) { return name.is_string(); }))
    return EventFlag::none;
  EventFlags flags = EventFlag::none;
  for (const json& name : *names) flags |= modifierFlag(name.get_ref<const std::string&>());
  return flags;
}

}  // namespace

KeyboardInjector::KeyboardInjector(std::shared_ptr<EventSource> source, std::shared_ptr<EventSystem> events)
    : source_(std::move(source)), events_(std::move(events)) {}

void KeyboardInjector::handleKeyEvent(const Data& payload) {
  const std::optional<json> message = MacProtocol::jsonObject(payload);
  const std::string* action = message ? stringMember(*message, "action") : nullptr;
  if (!action) return Log::line("⚠️ KeyboardInjector: invalid key event data");

  if (*action == "text") {
    if (const std::string* text = stringMember(*message, "text")) typeText(*text);
  } else if (*action == "key") {
    if (const std::string* key = stringMember(*message, "key")) pressKey(*key, modifierFlags(*message));
  } else {
    Log::print("⚠️ KeyboardInjector: unknown action {}", *action);
  }
}

void KeyboardInjector::typeText(std::string_view text) {
  while (!text.empty()) postKeyPress(*events_, {.source = source_, .text = takeCharacter(text)});
}

void KeyboardInjector::pressKey(std::string_view key, EventFlags flags) {
  const std::string name = lowercased(key);
  if (const auto keyCode = keyCodeOf(name))
    return postKeyPress(*events_, {.source = source_, .keyCode = *keyCode, .flags = flags});
  if (name.empty()) return;
  std::string_view rest = name;
  std::u16string character = takeCharacter(rest);
  if (!rest.empty()) return;  // an unknown name, of a key such as F5
  postKeyPress(*events_, {.source = source_, .flags = flags, .text = std::move(character)});
}

}  // namespace tandemview
