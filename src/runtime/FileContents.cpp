#include "runtime/FileContents.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "runtime/Descriptor.h"

namespace tandemview {

Result<std::string> contentsOfFile(const std::string& path) {
  // Not a stream of the standard library: a tool started meanwhile by another thread would inherit its descriptor.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return tl::unexpected(posixError(errno));
  std::string contents;
  std::array<char, 4096> buffer;
  while (true) {
    const ssize_t count = ::read(file.get(), buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return tl::unexpected(posixError(errno));
    if (count == 0) return contents;
    contents.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

}  // namespace tandemview
