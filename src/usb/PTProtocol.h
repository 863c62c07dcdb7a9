#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "runtime/Data.h"
#include "runtime/Error.h"
#include "runtime/Queue.h"
#include "runtime/Stream.h"

namespace tandemview {

inline constexpr const char* ptProtocolErrorDomain = "PTProtocolError";

/// Turns a byte stream into frames and back. A frame is a header of four big-endian 32-bit fields (version, type,
/// tag, payload size) and the payload. There is one protocol object a queue; the streams that it reads from and
/// writes to belong to that queue, where all callbacks run.
class PTProtocol {
 public:
  static constexpr std::size_t headerSize = 16;
  static constexpr std::uint32_t version = 1;
  /// The type that readFrameOverChannel() reports when the stream has ended.
  static constexpr std::uint32_t endOfStreamType = 0;

  using SendCallback = std::function<void(std::optional<Error>)>;
  using FrameCallback =
      std::function<void(std::optional<Error>, std::uint32_t type, std::uint32_t tag, std::uint32_t payloadSize)>;
  /// The payload in one piece; absent if the stream had ended before its first byte.
  using PayloadCallback = std::function<void(std::optional<Error>, std::optional<Data>)>;
  using DiscardCallback = std::function<void(std::optional<Error>, bool endOfStream)>;
  using ResumeBlock = std::function<void()>;
  using OnFrame = std::function<void(std::optional<Error>, std::uint32_t type, std::uint32_t tag,
                                     std::uint32_t payloadSize, ResumeBlock resume)>;

  /// The one protocol of `queue`, made on first use. On that queue only.
  static std::shared_ptr<PTProtocol> sharedProtocolForQueue(const std::shared_ptr<Queue>& queue);

  explicit PTProtocol(std::weak_ptr<Queue> queue);
  virtual ~PTProtocol() = default;

  std::shared_ptr<Queue> queue() const { return queue_.lock(); }

  /// A fresh tag; the first one is 1. Wraps silently.
  std::uint32_t newTag();

  static Data createDispatchDataWithFrameOfType(std::uint32_t type, std::uint32_t frameTag,
                                                const std::optional<Data>& payload);

  /// The callback, if any, is called when the frame is written or can't be: a POSIX error.
  static void sendFrameOfType(std::uint32_t type, std::uint32_t tag, const std::optional<Data>& withPayload,
                              Stream& overChannel, SendCallback callback);

  /// A stream that has ended between two frames is no error but type 0. A short header or another version is an
  /// error of the domain "PTProtocolError".
  static void readFrameOverChannel(Stream& channel, FrameCallback callback);
  static void readPayloadOfSize(std::size_t size, Stream& overChannel, PayloadCallback callback);
  static void readAndDiscardDataOfSize(std::size_t size, const std::shared_ptr<Stream>& overChannel,
                                       DiscardCallback callback);

  /// Reads frame after frame. The consumer reads the payload itself and then calls `resume` for the next header;
  /// nothing is read ahead. After an error or the end of the stream, resume() does nothing.
  static void readFramesOverChannel(const std::shared_ptr<Stream>& channel, OnFrame onFrame);

 protected:
  std::weak_ptr<Queue> queue_;

 private:
  std::uint32_t lastTag_ = 0;
};

/// A protocol whose queue can be set: the class of the shared protocols.
class RQueueLocalIOFrameProtocol final : public PTProtocol {
 public:
  RQueueLocalIOFrameProtocol() : PTProtocol(std::weak_ptr<Queue>()) {}
  void setQueue(std::weak_ptr<Queue> queue) { queue_ = std::move(queue); }
};

}  // namespace tandemview
