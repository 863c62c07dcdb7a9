#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>

union SDL_Event;

namespace tandemview {

/// Turns the keyboard in the companion's window into the phone's: what the layout and the input method make of the
/// keys is text, the keys that type nothing go by their names, and with Control, the left Alt key (Option) or the
/// desktop's key (Command) held, every key does. The right Alt key belongs to the layout. Home and End, which have no
/// names, go by the shortcuts that do the same, and Control+Shift+V types what this computer's clipboard holds.
class WindowKeys {
 public:
  /// Takes the JSON text of a key message.
  using Send = std::function<void(const std::string& message)>;

  /// `clipboard` gives this computer's, as text.
  WindowKeys(Send send, std::function<std::string()> clipboard)
      : send_(std::move(send)), clipboard_(std::move(clipboard)) {}

  void handle(const SDL_Event& event);

 private:
  void press(int key, int modifiers);
  void type(const std::string& text);
  void send(const std::string& name, const nlohmann::json& modifiers);

  const Send send_;
  const std::function<std::string()> clipboard_;
  bool isShortcut_ = false;  // the last key was pressed for one, and what it would type is not meant
};

}  // namespace tandemview
