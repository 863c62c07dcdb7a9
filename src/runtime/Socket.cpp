#include "runtime/Socket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tandemview {

namespace {

/// Absent when `path` does not fit the system's address.
Result<sockaddr_un> unixAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof(address.sun_path)) return tl::unexpected(posixError(ENAMETOOLONG));
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

Result<Descriptor> newUnixSocket() {
  Descriptor descriptor = newSocket(AF_UNIX, SOCK_STREAM);
  if (!descriptor || !makeNonBlocking(descriptor.get())) return tl::unexpected(posixError(errno));
  return descriptor;
}

const sockaddr* generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

}  // namespace

// The one place that knows which systems can make a socket close-on-exec from the start. macOS can't, and its own way
// of starting tools passes on nothing but the standard descriptors.
#ifdef SOCK_CLOEXEC

Descriptor newSocket(int family, int type, int protocol) {
  return Descriptor(::socket(family, type | SOCK_CLOEXEC, protocol));
}

Descriptor acceptedConnection(int listeningSocket, sockaddr_storage* address) {
  socklen_t length = sizeof(*address);
  return Descriptor(
      ::accept4(listeningSocket, reinterpret_cast<sockaddr*>(address), address ? &length : nullptr, SOCK_CLOEXEC));
}

#else

namespace {

Descriptor closedOnExec(Descriptor descriptor) {
  if (descriptor) ::fcntl(descriptor.get(), F_SETFD, FD_CLOEXEC);
  return descriptor;
}

}  // namespace

Descriptor newSocket(int family, int type, int protocol) {
  return closedOnExec(Descriptor(::socket(family, type, protocol)));
}

Descriptor acceptedConnection(int listeningSocket, sockaddr_storage* address) {
  socklen_t length = sizeof(*address);
  return closedOnExec(
      Descriptor(::accept(listeningSocket, reinterpret_cast<sockaddr*>(address), address ? &length : nullptr)));
}

#endif

bool isFailureToAccept(int code) {
  return code != EAGAIN && code != EWOULDBLOCK && code != ECONNABORTED && code != EINTR;
}

bool makeNonBlocking(int descriptor) {
  const int flags = ::fcntl(descriptor, F_GETFL);
  return flags >= 0 && ::fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) == 0;
}

Result<Descriptor> connectedUnixSocket(const std::string& path) {
  const Result<sockaddr_un> address = unixAddress(path);
  if (!address) return tl::unexpected(address.error());
  Result<Descriptor> descriptor = newUnixSocket();
  if (!descriptor) return descriptor;
  if (::connect(descriptor->get(), generic(*address), sizeof(*address)) != 0) {
    return tl::unexpected(posixError(errno));
  }
  return descriptor;
}

Result<Descriptor> listeningUnixSocket(const std::string& path) {
  const Result<sockaddr_un> address = unixAddress(path);
  if (!address) return tl::unexpected(address.error());
  Result<Descriptor> descriptor = newUnixSocket();
  if (!descriptor) return descriptor;
  struct stat existing {};
  if (::lstat(path.c_str(), &existing) == 0) {
    if (!S_ISSOCK(existing.st_mode)) return tl::unexpected(posixError(EEXIST));
    if (!connectedUnixSocket(path)) ::unlink(path.c_str());
  }
  if (::bind(descriptor->get(), generic(*address), sizeof(*address)) != 0 || ::listen(descriptor->get(), 64) != 0) {
    return tl::unexpected(posixError(errno));
  }
  return descriptor;
}

}  // namespace tandemview
