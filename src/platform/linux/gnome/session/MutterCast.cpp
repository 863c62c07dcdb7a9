#include "platform/linux/gnome/session/MutterCast.h"

#include <sdbus-c++/sdbus-c++.h>

#include <map>

#include "platform/linux/gnome/session/MutterNames.h"

namespace tandemview {

namespace {

using Options = std::map<std::string, sdbus::Variant>;

/// The pointer is part of the picture.
constexpr std::uint32_t embeddedCursor = 1;

/// No key bears it.
constexpr std::uint32_t silentKeySymbol = 0x1000000;

constexpr const char* accessDenied = "org.freedesktop.DBus.Error.AccessDenied";

void ignoreOwner(bool) {}

sdbus::ObjectPath createRemoteDesktop(sdbus::IConnection& bus) {
  sdbus::ObjectPath path;
  const auto service = sdbus::createProxy(bus, mutter::remoteDesktop, mutter::remoteDesktopPath);
  service->callMethod("CreateSession").onInterface(mutter::remoteDesktop).storeResultsTo(path);
  return path;
}

}  // namespace

/// By asking for one, which nobody sees before its start. It goes with its connection, and in no other way.
std::optional<bool> MutterCast::isAllowed() {
  const auto bus = BusConnection::open(BusConnection::Bus::Session);
  if (!bus) return std::nullopt;
  try {
    createRemoteDesktop(**bus);
    return true;
  } catch (const sdbus::Error& error) {
    return error.getName() == accessDenied ? std::optional(false) : std::nullopt;
  }
}

Result<std::unique_ptr<MutterCast>> MutterCast::start(BusConnection& connection, Events events) {
  std::unique_ptr<MutterCast> cast(new MutterCast(connection, std::move(events)));
  try {
    cast->begin();
  } catch (const sdbus::Error& error) {
    return tl::unexpected(Error{.domain = error.getName(), .description = error.getMessage()});
  }
  return cast;
}

void MutterCast::begin() {
  sessionPath_ = createRemoteDesktop(connection_.bus());
  session_ = sdbus::createProxy(connection_.bus(), mutter::remoteDesktop, sessionPath_);
  sessionSignals_ = std::make_unique<BusService>(
      connection_,
      BusService::Place{
          .name = mutter::remoteDesktop, .path = sessionPath_.c_str(), .interface = mutter::remoteDesktopSession},
      ignoreOwner);
  sessionSignals_->uponSignal("Closed", [this](sdbus::Message&) { events_.closed(); });
  const std::string id = session_->getProperty("SessionId").onInterface(mutter::remoteDesktopSession);

  sdbus::ObjectPath path;
  const auto casts = sdbus::createProxy(connection_.bus(), mutter::screenCast, mutter::screenCastPath);
  casts->callMethod("CreateSession")
      .onInterface(mutter::screenCast)
      .withArguments(Options{{"remote-desktop-session-id", sdbus::Variant(id)}})
      .storeResultsTo(path);
  const auto cast = sdbus::createProxy(connection_.bus(), mutter::screenCast, path);
  cast->callMethod("RecordVirtual")
      .onInterface(mutter::screenCastSession)
      .withArguments(Options{{"cursor-mode", sdbus::Variant(embeddedCursor)}})
      .storeResultsTo(path);
  streamPath_ = path;
  streamSignals_ = std::make_unique<BusService>(
      connection_,
      BusService::Place{.name = mutter::screenCast, .path = streamPath_.c_str(), .interface = mutter::screenCastStream},
      ignoreOwner);
  streamSignals_->uponSignal("PipeWireStreamAdded", [this](sdbus::Message& message) {
    std::uint32_t node = 0;
    message >> node;
    events_.streamAdded(node);
  });
  session_->callMethod("Start").onInterface(mutter::remoteDesktopSession);

  // The first event of each kind of device is lost. These reach nobody: the stream shows nothing yet.
  const auto send = [this](const char* method, const auto&... arguments) {
    session_->callMethod(method)
        .onInterface(mutter::remoteDesktopSession)
        .withArguments(arguments...)
        .dontExpectReply();
  };
  send("NotifyPointerMotionAbsolute", streamPath_, 0.0, 0.0);
  send("NotifyKeyboardKeysym", silentKeySymbol, true);
  send("NotifyKeyboardKeysym", silentKeySymbol, false);
  connection_.update();
}

MutterCast::~MutterCast() {
  sessionSignals_ = nullptr;
  streamSignals_ = nullptr;
  if (!session_) return;
  try {
    session_->callMethod("Stop").onInterface(mutter::remoteDesktopSession);
  } catch (const sdbus::Error&) {
    // It has ended already.
  }
  connection_.update();
}

}  // namespace tandemview
