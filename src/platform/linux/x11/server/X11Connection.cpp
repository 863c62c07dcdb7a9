#include "platform/linux/x11/server/X11Connection.h"

#include <xcb/xtest.h>

#include <csignal>
#include <mutex>

namespace tandemview {

namespace {

/// xcb writes to its socket without a guard: a server that is gone must be an error, never the end of the program.
void ignoreBrokenPipes() {
  [[maybe_unused]] static const auto previous = std::signal(SIGPIPE, SIG_IGN);
}

/// One at a time: the library that xcb asks for the cookie (libXau) keeps the name of its file in one place for all
/// threads, and writes it anew for each connection.
xcb_connection_t* connect(const std::string& displayName, int& screenNumber) {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  return xcb_connect(displayName.empty() ? nullptr : displayName.c_str(), &screenNumber);
}

}  // namespace

std::shared_ptr<X11Connection> X11Connection::open(const std::string& displayName) {
  ignoreBrokenPipes();
  int screenNumber = 0;
  xcb_connection_t* const connection = connect(displayName, screenNumber);
  xcb_screen_t* screen = nullptr;
  if (xcb_connection_has_error(connection) == 0) {
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; screens.rem > 0 && screenNumber > 0; --screenNumber) xcb_screen_next(&screens);
    if (screens.rem > 0) screen = screens.data;
  }
  if (!screen) {
    xcb_disconnect(connection);
    return nullptr;
  }
  return std::shared_ptr<X11Connection>(new X11Connection(connection, screen));
}

std::shared_ptr<X11Connection> X11Connection::openDespiteGrabs(const std::string& displayName) {
  auto connection = open(displayName);
  // Carried out before anything is asked: by then it would wait for the end of a grab itself.
  if (connection && connection->offers(xcb_test_id)) {
    connection->succeeded(xcb_test_grab_control_checked(connection->get(), /*impervious=*/1));
  }
  return connection;
}

X11Connection::~X11Connection() {
  xcb_disconnect(connection_);
}

bool X11Connection::offers(xcb_extension_t& extension) const {
  const xcb_query_extension_reply_t* const reply = xcb_get_extension_data(connection_, &extension);
  return reply && reply->present;
}

xcb_atom_t X11Connection::atom(std::string_view name) const {
  const auto length = static_cast<std::uint16_t>(name.size());
  const auto cookie = xcb_intern_atom(connection_, /*only_if_exists=*/0, length, name.data());
  const auto reply = owned(xcb_intern_atom_reply(connection_, cookie, nullptr));
  return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

bool X11Connection::succeeded(xcb_void_cookie_t request) const {
  const auto error = owned(xcb_request_check(connection_, request));
  return !error && !isBroken();
}

}  // namespace tandemview
