#pragma once

#include <string>

#include "runtime/Descriptor.h"
#include "runtime/Error.h"

namespace tandemview {

/// Makes a descriptor non-blocking and closes it in child processes. False with errno set if the system refuses.
bool makeNonBlocking(int descriptor);

/// A Unix stream socket connected to `path`, non-blocking; a daemon whose queue is full is an error, not a wait.
Result<Descriptor> connectedUnixSocket(const std::string& path);

/// A Unix stream socket that listens at `path`, non-blocking; replaces a socket left there by an ended process.
Result<Descriptor> listeningUnixSocket(const std::string& path);

}  // namespace tandemview
