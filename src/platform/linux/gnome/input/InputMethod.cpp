#include "platform/linux/gnome/input/InputMethod.h"

#include <fmt/format.h>

#include <map>
#include <utility>
#include <vector>

#include "platform/linux/gnome/input/IBusAddress.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

constexpr const char* ibusName = "org.freedesktop.IBus";
constexpr const char* ibusPath = "/org/freedesktop/IBus";
constexpr const char* engineInterface = "org.freedesktop.IBus.Engine";
constexpr const char* factoryInterface = "org.freedesktop.IBus.Factory";
constexpr const char* factoryPath = "/org/freedesktop/IBus/Factory";
constexpr const char* engineName = "tandemview";

/// The daemon's own stand-in, made before all others, which has the focus while no program's field has it.
constexpr const char* nobodysContext = "/org/freedesktop/IBus/InputContext_1";

/// For how long a text may be under way. Usually it is ten milliseconds.
constexpr double patience = 1;  // seconds

// How IBus passes its objects: their class, attachments, members.
using Attachments = std::map<std::string, sdbus::Variant>;
using AttributeList = sdbus::Struct<std::string, Attachments, std::vector<sdbus::Variant>>;
using Text = sdbus::Struct<std::string, Attachments, std::string, sdbus::Variant>;
/// Name, long name, description, language, licence, author, icon, layout, rank, hot keys, symbol, setup, variant and
/// option of the layout, version, text domain, icon's key.
using EngineDescription =
    sdbus::Struct<std::string, Attachments, std::string, std::string, std::string, std::string, std::string,
                  std::string, std::string, std::string, std::uint32_t, std::string, std::string, std::string,
                  std::string, std::string, std::string, std::string, std::string>;
/// Name, description, version, licence, author, home page, command, text domain, observed paths, engines.
using Component =
    sdbus::Struct<std::string, Attachments, std::string, std::string, std::string, std::string, std::string,
                  std::string, std::string, std::string, std::vector<sdbus::Variant>, std::vector<sdbus::Variant>>;

sdbus::Variant ibusText(const std::string& text) {
  return sdbus::Variant(Text("IBusText", {}, text, sdbus::Variant(AttributeList("IBusAttrList", {}, {}))));
}

/// It leaves the keyboard's layout as it is.
sdbus::Variant ownComponent() {
  const EngineDescription engine("IBusEngineDesc", {}, engineName, "Tandemview", "Text from the phone", "", "", "", "",
                                 "default", 0, "", "", "", "", "", "", "", "");
  return sdbus::Variant(Component("IBusComponent", {}, "org.tandemview.Tandemview.Text", "Text from the phone", "", "",
                                  "", "", "", "", {}, {sdbus::Variant(engine)}));
}

/// Goes into what the message has next, a variant or a structure.
void enter(sdbus::Message& message) {
  std::string type;
  std::string contents;
  message.peekType(type, contents);
  if (type == "v") {
    message.enterVariant(contents);
  } else {
    message.enterStruct(contents);
  }
}

/// Of the description of an engine in two variants. Versions of IBus differ in what follows the name.
std::string nameOfEngine(sdbus::Message& message) {
  for (int layer = 0; layer < 3; ++layer) enter(message);
  std::string className;
  Attachments attachments;
  std::string name;
  message >> className >> attachments >> name;
  return name;
}

}  // namespace

InputMethod::~InputMethod() {
  if (!usersEngine_.empty()) setEngine(usersEngine_, [](InputMethod&, sdbus::MethodReply&) {});
}

void InputMethod::type(std::string text, std::function<void(bool)> completion) {
  text_ = std::move(text);
  completion_ = std::move(completion);
  queue_->after(patience, weakly(this, [number = ++texts_](InputMethod& self) {
                  if (self.texts_ == number && self.completion_) self.finish(false);
                }));
  if (connection_) return askForField();
  connect();
}

void InputMethod::connect() {
  const auto address = ibusAddress();
  if (!address) return queue_->async(weakly(this, [](InputMethod& self) { self.finish(false); }));
  BusConnection::openAt(*address, queue_, weakly(this, &InputMethod::connected));
}

void InputMethod::connected(const BusConnection::Opened& opened) {
  if (!opened) return finish(false);
  connection_ = BusConnection::serving(*opened, queue_, weakly(this, &InputMethod::disconnect));
  try {
    daemon_ = sdbus::createProxy(connection_->bus(), ibusName, ibusPath);
    daemon_->finishRegistration();
    factory_ = sdbus::createObject(connection_->bus(), factoryPath);
    factory_->registerMethod("CreateEngine").onInterface(factoryInterface).implementedAs([this](const std::string&) {
      const std::string path = fmt::format("{}/Engine/{}", ibusPath, ++engines_);
      serveEngine(path);
      return sdbus::ObjectPath(path);
    });
    factory_->finishRegistration();
  } catch (const sdbus::Error&) {
    return disconnect();
  }
  registerEngine();
}

void InputMethod::registerEngine() {
  sdbus::MethodCall call = daemon_->createMethodCall(ibusName, "RegisterComponent");
  call << ownComponent();
  ask(std::move(call), [](InputMethod& self, sdbus::MethodReply&) { self.askForField(); });
}

void InputMethod::askForField() {
  ask(getting("CurrentInputContext"), [](InputMethod& self, sdbus::MethodReply& reply) {
    sdbus::Variant context;
    reply >> context;
    if (context.get<sdbus::ObjectPath>() == nobodysContext) return self.finish(false);
    self.askForEngine();
  });
}

void InputMethod::askForEngine() {
  ask(getting("GlobalEngine"), [](InputMethod& self, sdbus::MethodReply& reply) { self.standIn(nameOfEngine(reply)); });
}

/// Once the daemon has put ours in place, it tells it of the focus.
void InputMethod::standIn(const std::string& usersEngine) {
  usersEngine_ = usersEngine;
  setEngine(engineName, [](InputMethod&, sdbus::MethodReply&) {});
}

void InputMethod::serveEngine(const std::string& path) {
  engine_ = sdbus::createObject(connection_->bus(), path);
  engine_->registerMethod("FocusIn").onInterface(engineInterface).implementedAs([this] { commit(); });
  // What the user types meanwhile is none of its business.
  engine_->registerMethod("ProcessKeyEvent")
      .onInterface(engineInterface)
      .implementedAs([](std::uint32_t, std::uint32_t, std::uint32_t) { return false; });
  engine_->registerSignal("CommitText").onInterface(engineInterface).withParameters<sdbus::Variant>();
  engine_->finishRegistration();
}

void InputMethod::commit() {
  if (text_.empty() || usersEngine_.empty()) return;
  engine_->emitSignal("CommitText").onInterface(engineInterface).withArguments(ibusText(text_));
  text_.clear();
  setEngine(usersEngine_, [](InputMethod& self, sdbus::MethodReply&) {
    self.usersEngine_.clear();
    self.finish(true);
  });
}

void InputMethod::setEngine(const std::string& name, Reply done) {
  if (!daemon_) return;
  sdbus::MethodCall call = daemon_->createMethodCall(ibusName, "SetGlobalEngine");
  call << name;
  ask(std::move(call), std::move(done));
}

void InputMethod::disconnect() {
  usersEngine_.clear();
  engine_.reset();
  factory_.reset();
  daemon_.reset();
  connection_.reset();
  finish(false);
}

void InputMethod::finish(bool isTyped) {
  text_.clear();
  if (!usersEngine_.empty()) setEngine(std::exchange(usersEngine_, {}), [](InputMethod&, sdbus::MethodReply&) {});
  if (completion_) std::exchange(completion_, nullptr)(isTyped);
}

/// A call that fails ends the text.
void InputMethod::ask(sdbus::MethodCall call, Reply reply) {
  try {
    daemon_->callMethod(call, [weak = weak_from_this(), reply = std::move(reply)](sdbus::MethodReply& message,
                                                                                  const sdbus::Error* error) {
      const auto self = weak.lock();
      if (!self) return;
      if (error) return self->finish(false);
      try {
        reply(*self, message);
      } catch (const sdbus::Error&) {  // a reply of another kind
        self->finish(false);
      }
    });
  } catch (const sdbus::Error&) {
    // The connection has ended: the text's time runs out.
  }
  connection_->update();
}

sdbus::MethodCall InputMethod::getting(const char* property) const {
  sdbus::MethodCall call = daemon_->createMethodCall("org.freedesktop.DBus.Properties", "Get");
  call << ibusName << property;
  return call;
}

}  // namespace tandemview
