#pragma once

#include <sys/socket.h>

#include <string>

#include "runtime/Descriptor.h"
#include "runtime/Error.h"

namespace tandemview {

/// A socket that child processes don't inherit, not even one that another thread starts at this moment. Invalid, with
/// errno set, if the system refuses.
Descriptor newSocket(int family, int type, int protocol = 0);

/// The next connection that waits at a listening socket, and its peer's address if `address` is given; the same for
/// child processes. Invalid with errno set: see isFailureToAccept().
Descriptor acceptedConnection(int listeningSocket, sockaddr_storage* address = nullptr);

/// Whether a failure to accept says something about us. It doesn't when the peer has given up meanwhile, nobody waits
/// or a signal came in between: then there is just no connection, and the listener goes on.
bool isFailureToAccept(int code);

/// Makes a descriptor non-blocking. False with errno set if the system refuses.
bool makeNonBlocking(int descriptor);

/// A Unix stream socket connected to `path`, non-blocking; a daemon whose queue is full is an error, not a wait.
Result<Descriptor> connectedUnixSocket(const std::string& path);

/// A Unix stream socket that listens at `path`, non-blocking; replaces a socket left there by an ended process. What is
/// no socket stays: an error.
Result<Descriptor> listeningUnixSocket(const std::string& path);

}  // namespace tandemview
