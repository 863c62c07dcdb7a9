#include "platform/linux/x11/capture/SharedPixels.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

namespace tandemview {

Result<std::unique_ptr<SharedPixels>> SharedPixels::make(std::int32_t width, std::int32_t height) {
  auto pixels = std::unique_ptr<SharedPixels>(new SharedPixels(width, height));
  pixels->descriptor_ = Descriptor(::memfd_create("tandemview-picture", MFD_CLOEXEC));
  if (!pixels->descriptor_ || ::ftruncate(pixels->descriptor_.get(), static_cast<off_t>(pixels->size())) != 0) {
    return tl::unexpected(posixError(errno));
  }
  void* const memory =
      ::mmap(nullptr, pixels->size(), PROT_READ | PROT_WRITE, MAP_SHARED, pixels->descriptor_.get(), 0);
  if (memory == MAP_FAILED) return tl::unexpected(posixError(errno));
  pixels->bytes_ = static_cast<std::byte*>(memory);
  pixels->stale.add({.x = 0, .y = 0, .width = width, .height = height});
  return pixels;
}

SharedPixels::~SharedPixels() {
  if (bytes_) ::munmap(bytes_, size());
}

bool SharedPixels::shareWith(const X11Connection& connection) {
  const int sent = ::fcntl(descriptor_.get(), F_DUPFD_CLOEXEC, 0);  // sending it closes it
  if (sent < 0) return false;
  const xcb_shm_seg_t segment = xcb_generate_id(connection.get());
  if (!connection.succeeded(xcb_shm_attach_fd_checked(connection.get(), segment, sent, /*read_only=*/0))) return false;
  segment_ = segment;
  return true;
}

}  // namespace tandemview
