#include "platform/linux/gnome/input/InputMethod.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>

#include <string_view>
#include <utility>

#include "platform/linux/gnome/input/IBusAddress.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

constexpr const char* ibusName = "org.freedesktop.IBus";
constexpr const char* ibusPath = "/org/freedesktop/IBus";
constexpr const char* engineInterface = "org.freedesktop.IBus.Engine";
constexpr const char* factoryInterface = "org.freedesktop.IBus.Factory";
constexpr const char* properties = "org.freedesktop.DBus.Properties";
constexpr const char* engineName = "tandemview";

/// For users without one. IBus takes the global engine away when a program goes that has registered any, as a run of
/// ours did before; this one passes keys on.
constexpr const char* plainEngine = "xkb:us::eng";

/// The daemon's own stand-in, made before all others: it has the focus while no program's field has it.
constexpr std::string_view nobodysContext = "/org/freedesktop/IBus/InputContext_1";

/// For how long a text may be under way. Usually it is ten milliseconds.
constexpr double patience = 1;  // seconds

// How IBus passes its objects: their class, attachments, members.
constexpr const char* componentType = "(sa{sv}ssssssssavav)";
constexpr const char* engineType = "(sa{sv}ssssssssussssssss)";
constexpr const char* textType = "(sa{sv}sv)";
constexpr const char* attributesType = "(sa{sv}av)";
constexpr int noAttachments = 0;

/// Of the description of an engine, in two variants. Null if it is something else.
const char* nameOfEngine(sd_bus_message* message) {
  for (int layer = 0; layer < 3; ++layer) {
    char type = 0;
    const char* contents = nullptr;
    if (sd_bus_message_peek_type(message, &type, &contents) <= 0 ||
        sd_bus_message_enter_container(message, type, contents) <= 0)
      return nullptr;
  }
  const char* className = nullptr;
  const char* name = nullptr;
  if (sd_bus_message_read(message, "s", &className) <= 0 || sd_bus_message_skip(message, "a{sv}") < 0 ||
      sd_bus_message_read(message, "s", &name) <= 0)
    return nullptr;
  return name;
}

}  // namespace

/// A call that fails ends the text; one that can't be sent lets the text's time run out.
template <InputMethod::Step step, typename... Arguments>
void InputMethod::call(const char* interface, const char* method, const char* types, Arguments... arguments) {
  sd_bus_call_method_async(bus_, nullptr, ibusName, ibusPath, interface, method, &replied<step>, this, types,
                           arguments...);
}

template <InputMethod::Step step>
int InputMethod::replied(sd_bus_message* reply, void* self, sd_bus_error* /*error*/) {
  auto& method = *static_cast<InputMethod*>(self);
  // Only the question for the engine may be answered by an error: there is none.
  if (sd_bus_message_is_method_error(reply, nullptr) > 0 && step != &InputMethod::standIn) {
    method.finish(false);
  } else {
    (method.*step)(reply);
  }
  return 1;
}

InputMethod::~InputMethod() {
  putBack();
  watch_.reset();
  sd_bus_flush_close_unref(bus_);
}

bool InputMethod::isThere() const {
  return bus_ || ibusAddress();
}

void InputMethod::type(std::string text, std::function<void(bool)> completion) {
  text_ = std::move(text);
  completion_ = std::move(completion);
  const auto giveUp = weakly(this, [number = ++texts_](InputMethod& self) {
    if (self.texts_ == number) self.finish(false);
  });
  if (!bus_ && !connect()) return queue_->async(giveUp);
  queue_->after(patience, giveUp);
  call<&InputMethod::askForEngine>(properties, "Get", "ss", ibusName, "CurrentInputContext");
  process();
}

/// Greetings are waited for later, with everything else.
bool InputMethod::connect() {
  const auto address = ibusAddress();
  if (!address || sd_bus_new(&bus_) < 0) return false;
  const auto onMessage = [](sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
    return static_cast<InputMethod*>(self)->take(message);
  };
  if (sd_bus_set_address(bus_, address->c_str()) < 0 || sd_bus_set_bus_client(bus_, 1) < 0 ||
      sd_bus_add_filter(bus_, nullptr, onMessage, this) < 0 || sd_bus_start(bus_) < 0) {
    disconnect();
    return false;
  }
  watched_ = Descriptor(::fcntl(sd_bus_get_fd(bus_), F_DUPFD_CLOEXEC, 0));
  auto watch = queue_->watch(watched_.get());
  if (!watch) {
    disconnect();
    return false;
  }
  watch_ = std::move(*watch);
  waitsForReadable_ = waitsForWritable_ = false;
  // It leaves the keyboard's layout as it is.
  call<&InputMethod::goOn>(ibusName, "RegisterComponent", "v", componentType, "IBusComponent", noAttachments,
                           "org.tandemview.Tandemview.Text", "Text from the phone", "", "", "", "", "", "",
                           /*observed paths*/ 0, /*engines*/ 1, engineType, "IBusEngineDesc", noAttachments, engineName,
                           "Tandemview", "Text from the phone", "", "", "", "", /*layout*/ "default", /*rank*/ 0, "",
                           "", "", "", "", "", "", "");
  return true;
}

void InputMethod::disconnect() {
  usersEngine_.clear();
  watch_.reset();
  bus_ = sd_bus_close_unref(bus_);
  finish(false);
}

void InputMethod::process() {
  int result = 1;
  while (result > 0) result = sd_bus_process(bus_, nullptr);
  if (result < 0) return disconnect();
  wait();
}

void InputMethod::wait() {
  if (!waitsForReadable_) {
    waitsForReadable_ = true;
    watch_->whenReadable(weakly(this, [](InputMethod& self) {
      self.waitsForReadable_ = false;
      self.process();
    }));
  }
  const int events = sd_bus_get_events(bus_);
  if (events > 0 && (events & POLLOUT) != 0 && !waitsForWritable_) {
    waitsForWritable_ = true;
    watch_->whenWritable(weakly(this, [](InputMethod& self) {
      self.waitsForWritable_ = false;
      self.process();
    }));
  }
}

/// The daemon's calls name no recipient, as on a line between two, so that the library hands them to no object.
int InputMethod::take(sd_bus_message* message) {
  if (sd_bus_message_is_method_call(message, factoryInterface, "CreateEngine") > 0) return serveEngine(message);
  // What the user types meanwhile is none of its business.
  if (sd_bus_message_is_method_call(message, engineInterface, "ProcessKeyEvent") > 0)
    return sd_bus_reply_method_return(message, "b", 0);
  if (sd_bus_message_is_method_call(message, engineInterface, "FocusIn") > 0) commit();
  return 0;
}

void InputMethod::askForEngine(sd_bus_message* context) {
  const char* path = nullptr;
  if (sd_bus_message_read(context, "v", "o", &path) <= 0 || path == nobodysContext) return finish(false);
  call<&InputMethod::standIn>(properties, "Get", "ss", ibusName, "GlobalEngine");
}

/// Once the daemon has put ours in place, it tells it of the focus.
void InputMethod::standIn(sd_bus_message* description) {
  const bool hasEngine = sd_bus_message_is_method_error(description, nullptr) <= 0;
  const char* const name = hasEngine ? nameOfEngine(description) : plainEngine;
  if (!name || text_.empty()) return finish(false);
  usersEngine_ = name;
  call<&InputMethod::goOn>(ibusName, "SetGlobalEngine", "s", engineName);
}

int InputMethod::serveEngine(sd_bus_message* request) {
  engine_ = fmt::format("{}/Engine/{}", ibusPath, ++engines_);
  return sd_bus_reply_method_return(request, "o", engine_.c_str());
}

void InputMethod::commit() {
  if (text_.empty() || usersEngine_.empty()) return;
  sd_bus_emit_signal(bus_, engine_.c_str(), engineInterface, "CommitText", "v", textType, "IBusText", noAttachments,
                     text_.c_str(), attributesType, "IBusAttrList", noAttachments, /*attributes*/ 0);
  text_.clear();
  call<&InputMethod::isPutBack>(ibusName, "SetGlobalEngine", "s", std::exchange(usersEngine_, {}).c_str());
}

void InputMethod::putBack() {
  if (usersEngine_.empty()) return;
  call<&InputMethod::goOn>(ibusName, "SetGlobalEngine", "s", std::exchange(usersEngine_, {}).c_str());
}

void InputMethod::finish(bool isTyped) {
  text_.clear();
  putBack();
  if (completion_) std::exchange(completion_, nullptr)(isTyped);
}

}  // namespace tandemview
