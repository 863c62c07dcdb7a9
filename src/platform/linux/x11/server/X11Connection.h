#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace tandemview {

struct X11ReplyDeleter {
  void operator()(void* reply) const { std::free(reply); }
};

/// Owner of what the server sent: a reply, an event or an error.
template <typename Content>
using X11Reply = std::unique_ptr<Content, X11ReplyDeleter>;

/// Takes over a reply; absent if the request failed or the connection is broken.
template <typename Content>
X11Reply<Content> owned(Content* reply) {
  return X11Reply<Content>(reply);
}

/// A connection to an X server. From any thread.
class X11Connection {
 public:
  /// Connects to a display such as ":77"; an empty name stands for $DISPLAY. Absent if no server answers.
  static std::shared_ptr<X11Connection> open(const std::string& displayName);

  /// For what is asked on the main queue: served also while somebody grabs the server, where that has XTEST. To open it
  /// waits for the grab's end all the same.
  static std::shared_ptr<X11Connection> openDespiteGrabs(const std::string& displayName);

  X11Connection(const X11Connection&) = delete;
  X11Connection& operator=(const X11Connection&) = delete;
  ~X11Connection();

  xcb_connection_t* get() const { return connection_; }
  xcb_window_t root() const { return screen_->root; }

  /// The screen as it was when the connection was made.
  const xcb_screen_t& screen() const { return *screen_; }

  bool isBroken() const { return xcb_connection_has_error(connection_) != 0; }
  bool offers(xcb_extension_t& extension) const;

  /// The number of a name; XCB_ATOM_NONE on a broken connection.
  xcb_atom_t atom(std::string_view name) const;

  /// Waits for a checked request to be carried out. False if the server refused it.
  bool succeeded(xcb_void_cookie_t request) const;

 private:
  X11Connection(xcb_connection_t* connection, xcb_screen_t* screen) : connection_(connection), screen_(screen) {}

  xcb_connection_t* const connection_;
  const xcb_screen_t* const screen_;
};

}  // namespace tandemview
