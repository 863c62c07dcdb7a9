#pragma once

#include <functional>
#include <string>

union SDL_Event;

namespace tandemview {

/// Turns the keyboard in the companion's window into the phone's: what the layout and the input method make of the
/// keys is text, the keys that type nothing go by their names, and with Control, the left Alt key (Option) or the
/// desktop's key (Command) held, every key does. The right Alt key belongs to the layout.
class WindowKeys {
 public:
  /// Takes the JSON text of a key message.
  using Send = std::function<void(const std::string& message)>;

  explicit WindowKeys(Send send) : send_(std::move(send)) {}

  void handle(const SDL_Event& event);

 private:
  void press(int key, int modifiers);

  const Send send_;
  bool isShortcut_ = false;  // the last key was pressed for one, and what it would type is not meant
};

}  // namespace tandemview
