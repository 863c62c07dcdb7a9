#import "platform/macos/MacWiFiConnection.h"

#import "platform/macos/DispatchQueue.h"
#import "platform/macos/NetworkError.h"

namespace tandemview {

namespace {

/// The bytes that the framework handed out, kept by the data.
Data dataFrom(dispatch_data_t content) {
  if (!content) return {};
  const void* bytes = nullptr;
  std::size_t size = 0;
  const dispatch_data_t mapped = dispatch_data_create_map(content, &bytes, &size);
  return {std::make_shared<dispatch_data_t>(mapped), {static_cast<const std::byte*>(bytes), size}};
}

/// The data's own bytes, which their owners keep until the system has done with them.
dispatch_data_t contentFrom(const Data& data) {
  dispatch_data_t content = dispatch_data_empty;
  for (const Data::Segment& segment : data.segments()) {
    const auto owner = segment.owner;
    const dispatch_data_t bytes = dispatch_data_create(segment.bytes.data(), segment.bytes.size(), /*queue=*/nil, ^{
      static_cast<void>(owner);
    });
    content = dispatch_data_create_concat(content, bytes);
  }
  return content;
}

}  // namespace

MacWiFiConnection::~MacWiFiConnection() {
  if (isCancelled_) return;
  nw_connection_set_state_changed_handler(connection_, nil);
  nw_connection_cancel(connection_);
}

void MacWiFiConnection::start(WiFiConnectionOutput output) {
  queue_ = output.queue;
  nw_connection_set_queue(connection_, DispatchQueue::underlying(*output.queue));
  nw_connection_set_state_changed_handler(connection_, ^(nw_connection_state_t state, nw_error_t error) {
    if (state == nw_connection_state_ready) output.didBecomeReady();
    if (state == nw_connection_state_failed) output.didFail(errorFrom(error));
    if (state == nw_connection_state_cancelled) output.didCancel();
  });
  nw_connection_start(connection_);
}

/// The framework tells of the stream's end together with the last bytes, and every receive after that fails.
void MacWiFiConnection::receive(std::size_t length, ReceiveCompletion completion) {
  if (*streamHasEnded_) {
    return queue_->async([completion = std::move(completion)] { completion({.streamEnded = true}); });
  }
  const auto count = static_cast<std::uint32_t>(length);
  const auto streamHasEnded = streamHasEnded_;
  nw_connection_receive(
      connection_, /*minimum=*/count, /*maximum=*/count,
      ^(dispatch_data_t content, nw_content_context_t, bool isComplete, nw_error_t error) {
        if (isComplete) *streamHasEnded = true;
        Data bytes = dataFrom(content);
        const bool isShort = bytes.size() < length;
        completion(
            {.bytes = std::move(bytes), .streamEnded = isComplete && isShort, .error = optionalErrorFrom(error)});
      });
}

void MacWiFiConnection::send(Data data, SendCompletion completion) {
  nw_connection_send(connection_, contentFrom(data), NW_CONNECTION_DEFAULT_MESSAGE_CONTEXT, /*is_complete=*/true,
                     ^(nw_error_t error) {
                       completion(optionalErrorFrom(error));
                     });
}

void MacWiFiConnection::cancel() {
  isCancelled_ = true;
  nw_connection_cancel(connection_);
}

}  // namespace tandemview
