#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "runtime/Data.h"
#include "runtime/Error.h"
#include "usb/PTAddress.h"

namespace tandemview {

class PTChannel;

/// What a channel tells its owner, on the queue of the channel's protocol.
class PTChannelDelegate {
 public:
  /// The notices beyond the required one that a delegate wants; the others are never sent to it.
  struct Wants {
    bool acceptTest = false;
    bool endNotice = false;
    bool acceptedConnections = false;
  };

  virtual ~PTChannelDelegate() = default;

  virtual Wants wants() const { return {}; }

  /// A frame; the payload is absent when the frame had none.
  virtual void ioFrameChannel(PTChannel& channel, std::uint32_t didReceiveFrameOfType, std::uint32_t tag,
                              std::optional<Data> payload) = 0;

  /// Acceptance test: the payload of a frame refused here is read and thrown away.
  virtual bool ioFrameChannel(PTChannel& channel, std::uint32_t shouldAcceptFrameOfType, std::uint32_t tag,
                              std::uint32_t payloadSize);

  /// End notice: the connection or the listening has ended.
  virtual void ioFrameChannel(PTChannel& channel, const std::optional<Error>& didEndWithError);

  /// Accepted connection: a listening channel has a new peer. Whoever wants it keeps the channel.
  virtual void ioFrameChannel(PTChannel& channel, const std::shared_ptr<PTChannel>& didAcceptConnection,
                              const PTAddress& fromAddress);
};

}  // namespace tandemview
