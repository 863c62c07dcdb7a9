#include "runtime/FileContents.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "runtime/Descriptor.h"

namespace tandemview {

Result<std::string> contentsOfRegularFile(const std::string& path, std::size_t limit) {
  // Not a stream of the standard library: a tool started meanwhile by another thread would inherit its descriptor.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0) return tl::unexpected(posixError(errno));
  if (!S_ISREG(status.st_mode)) return tl::unexpected(Error{.description = "it is no regular file"});
  std::string contents;
  std::array<char, 4096> buffer;
  while (true) {
    const ssize_t count = ::read(file.get(), buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return tl::unexpected(posixError(errno));
    if (count == 0) return contents;
    contents.append(buffer.data(), static_cast<std::size_t>(count));
    if (contents.size() > limit) {
      return tl::unexpected(Error{.description = fmt::format("it has more than {} bytes", limit)});
    }
  }
}

}  // namespace tandemview
