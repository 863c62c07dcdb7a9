#include "usb/PTChannelDelegate.h"

namespace tandemview {

bool PTChannelDelegate::ioFrameChannel(PTChannel&, std::uint32_t, std::uint32_t, std::uint32_t) {
  return true;
}

void PTChannelDelegate::ioFrameChannel(PTChannel&, const std::optional<Error>&) {}

void PTChannelDelegate::ioFrameChannel(PTChannel&, const std::shared_ptr<PTChannel>&, const PTAddress&) {}

}  // namespace tandemview
