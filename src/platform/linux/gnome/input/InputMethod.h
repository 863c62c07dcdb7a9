#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/linux/bus/BusConnection.h"
#include "runtime/Queue.h"

namespace tandemview {

/// Types text by the session's input method, IBus, which knows no layout: every field that takes an input method takes
/// it. For the moment of a text an engine of ours stands in for the user's. Lives on a queue.
class InputMethod : public std::enable_shared_from_this<InputMethod> {
 public:
  /// How many characters fit into one text: Wayland carries 4000 bytes.
  static constexpr std::size_t mostCharacters = 900;

  explicit InputMethod(std::shared_ptr<Queue> queue) : queue_(std::move(queue)) {}
  /// The user's engine comes back.
  ~InputMethod();

  /// Types `text` (UTF-8) where the keyboard's focus is. `completion` is told later, on the queue, whether that was
  /// done: it can't be without IBus, or where the focus is in no field that takes an input method. One text at a time.
  void type(std::string text, std::function<void(bool)> completion);

 private:
  using Reply = std::function<void(InputMethod&, sdbus::MethodReply&)>;

  void connect();
  void connected(const BusConnection::Opened& opened);
  void registerEngine();
  void askForField();
  void askForEngine();
  void standIn(const std::string& usersEngine);
  void serveEngine(const std::string& path);
  void commit();
  void setEngine(const std::string& name, Reply done);
  void disconnect();
  void finish(bool isTyped);
  void ask(sdbus::MethodCall call, Reply reply);
  sdbus::MethodCall getting(const char* property) const;

  const std::shared_ptr<Queue> queue_;
  std::shared_ptr<BusConnection> connection_;
  std::unique_ptr<sdbus::IProxy> daemon_;
  std::unique_ptr<sdbus::IObject> factory_;
  std::unique_ptr<sdbus::IObject> engine_;
  std::uint64_t engines_ = 0;  // that have been made: each has a name of its own

  std::function<void(bool)> completion_;  // while a text is under way
  std::uint64_t texts_ = 0;               // the number of that text
  std::string text_;                      // until it is committed
  std::string usersEngine_;               // while ours stands in for it
};

}  // namespace tandemview
