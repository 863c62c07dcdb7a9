#include "runtime/AtomicFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "runtime/Descriptor.h"

namespace tandemview {

namespace {

bool writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace

Result<void> writeFileAtomically(const std::string& path, const std::string& text) {
  std::string temporary = path + ".XXXXXX";
  const Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
  if (!file) return tl::unexpected(posixError(errno));
  if (writeAll(file.get(), text) && ::fsync(file.get()) == 0 && std::rename(temporary.c_str(), path.c_str()) == 0) {
    return {};
  }
  const Error error = posixError(errno);
  ::unlink(temporary.c_str());
  return tl::unexpected(error);
}

}  // namespace tandemview
