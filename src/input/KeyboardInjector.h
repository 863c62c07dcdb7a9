#pragma once

#include <memory>
#include <string_view>

#include "input/EventSystem.h"
#include "runtime/Data.h"

namespace tandemview {

/// Turns the phone's key messages into key presses. Lives on the main queue. Every press is released within the call
/// that made it: nothing is held between messages.
class KeyboardInjector {
 public:
  /// `source`: whom the events are from; may be absent.
  KeyboardInjector(std::shared_ptr<EventSource> source, std::shared_ptr<EventSystem> events);

  /// Takes one key message (a JSON object, contiguous). A malformed one is dropped.
  void handleKeyEvent(const Data& payload);

  /// Types `text` (UTF-8) character by character, whatever the keyboard's layout.
  void typeText(std::string_view text);

  /// Presses one key with modifiers: a named key, the key of a character, or a character that has no key of its own.
  /// Any other name does nothing. Case is ignored; only `flags` brings Shift.
  void pressKey(std::string_view key, EventFlags flags);

 private:
  const std::shared_ptr<EventSource> source_;
  const std::shared_ptr<EventSystem> events_;
};

}  // namespace tandemview
