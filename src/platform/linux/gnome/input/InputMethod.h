#pragma once

#include <systemd/sd-bus.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "runtime/Descriptor.h"
#include "runtime/Queue.h"

namespace tandemview {

/// Types text by the session's input method, IBus, which knows no layout: every field that takes an input method takes
/// it. For the moment of a text an engine of ours stands in for the user's. Lives on a queue.
class InputMethod : public std::enable_shared_from_this<InputMethod> {
 public:
  /// How many characters fit into one text: Wayland carries 4000 bytes.
  static constexpr std::size_t mostCharacters = 900;

  explicit InputMethod(std::shared_ptr<Queue> queue) : queue_(std::move(queue)) {}
  InputMethod(const InputMethod&) = delete;
  InputMethod& operator=(const InputMethod&) = delete;
  /// The user's engine comes back.
  ~InputMethod();

  /// Whether there is one, or was when it last wrote down where.
  bool isThere() const;

  /// Types `text` (UTF-8) where the keyboard's focus is. `completion` is told later, on the queue, whether that was
  /// done: it can't be without IBus, or where the focus is in no field that takes an input method. One text at a time.
  void type(std::string text, std::function<void(bool)> completion);

 private:
  /// What follows when the daemon has replied.
  using Step = void (InputMethod::*)(sd_bus_message* reply);

  bool connect();
  void disconnect();
  void process();
  void wait();
  int take(sd_bus_message* message);
  void askForEngine(sd_bus_message* context);
  void standIn(sd_bus_message* description);
  int serveEngine(sd_bus_message* request);
  void commit();
  void putBack();
  void finish(bool isTyped);
  void isPutBack(sd_bus_message* /*reply*/) { finish(true); }
  void goOn(sd_bus_message* /*reply*/) {}

  template <Step step, typename... Arguments>
  void call(const char* interface, const char* method, const char* types, Arguments... arguments);
  template <Step step>
  static int replied(sd_bus_message* reply, void* self, sd_bus_error* error);

  const std::shared_ptr<Queue> queue_;
  sd_bus* bus_ = nullptr;
  Descriptor watched_;  // a copy: the library closes its own while it is still watched
  std::unique_ptr<DescriptorWatch> watch_;
  bool waitsForReadable_ = false;
  bool waitsForWritable_ = false;

  std::function<void(bool)> completion_;  // while a text is under way
  std::uint64_t texts_ = 0;               // the number of that text
  std::string text_;                      // until it is committed
  std::string usersEngine_;               // while ours stands in for it
  std::string engine_;                    // the path of ours
  std::uint64_t engines_ = 0;             // that have been made: each has a path of its own
};

}  // namespace tandemview
