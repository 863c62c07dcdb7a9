#import "platform/macos/MacCaptureStream.h"

#import <CoreMedia/CoreMedia.h>

#include <atomic>
#include <cmath>

#import "platform/macos/CaptureError.h"
#import "platform/macos/DispatchQueue.h"
#import "platform/macos/MacPixelBuffer.h"

/// Receives a stream's pictures and its end.
@interface TandemviewStreamOutput : NSObject <SCStreamOutput, SCStreamDelegate>
- (instancetype)initWithOutput:(tandemview::CaptureOutput)output;
@end

@implementation TandemviewStreamOutput {
  tandemview::CaptureOutput _output;
}

- (instancetype)initWithOutput:(tandemview::CaptureOutput)output {
  self = [super init];
  if (self) _output = std::move(output);
  return self;
}

- (void)stream:(SCStream*)stream didOutputSampleBuffer:(CMSampleBufferRef)sampleBuffer ofType:(SCStreamOutputType)type {
  // The queue has no pool of its own for each sample.
  @autoreleasepool {
    const auto sampleType =
        type == SCStreamOutputTypeScreen ? tandemview::SampleType::Screen : tandemview::SampleType::Audio;
    const CVImageBufferRef image = CMSampleBufferGetImageBuffer(sampleBuffer);
    _output.didOutputSample(sampleType, image ? std::make_shared<tandemview::MacPixelBuffer>(image) : nullptr);
  }
}

- (void)stream:(SCStream*)stream didStopWithError:(NSError*)error {
  _output.didStopWithError(tandemview::captureErrorFrom(error));
}

@end

namespace tandemview {

namespace {

SCStreamConfiguration* makeConfiguration(const CaptureConfiguration& values) {
  SCStreamConfiguration* configuration = [[SCStreamConfiguration alloc] init];
  configuration.width = static_cast<size_t>(values.width);
  configuration.height = static_cast<size_t>(values.height);
  configuration.pixelFormat = kCVPixelFormatType_32BGRA;
  configuration.minimumFrameInterval =
      CMTimeMake(1, static_cast<int32_t>(std::lround(1 / values.minimumFrameInterval)));
  configuration.queueDepth = values.queueDepth;
  configuration.showsCursor = values.showsCursor;
  return configuration;
}

using CompletionHandler = void (^)(NSError*);

/// Passes an operation's end on to the queue.
CompletionHandler completing(CaptureStream::Completion completion, std::shared_ptr<Queue> queue) {
  return ^(NSError* error) {
    const auto failure = error ? std::optional(captureErrorFrom(error)) : std::nullopt;
    queue->async([completion, failure] { completion(failure); });
  };
}

}  // namespace

Result<std::shared_ptr<CaptureStream>> MacCaptureStream::make(SCDisplay* display,
                                                              const CaptureConfiguration& configuration,
                                                              CaptureOutput output) {
  const auto queue = output.sampleQueue;
  const auto hasEnded = std::make_shared<std::atomic<bool>>(false);
  output.didStopWithError = [hasEnded, report = std::move(output.didStopWithError)](const Error& error) {
    if (!hasEnded->exchange(true)) report(error);
  };
  SCContentFilter* filter = [[SCContentFilter alloc] initWithDisplay:display excludingWindows:@[]];
  TandemviewStreamOutput* receiver = [[TandemviewStreamOutput alloc] initWithOutput:std::move(output)];
  SCStream* stream = [[SCStream alloc] initWithFilter:filter
                                        configuration:makeConfiguration(configuration)
                                             delegate:receiver];
  NSError* error = nil;
  if (![stream addStreamOutput:receiver
                          type:SCStreamOutputTypeScreen
            sampleHandlerQueue:DispatchQueue::underlying(*queue)
                         error:&error]) {
    return tl::unexpected(captureErrorFrom(error));
  }
  return std::shared_ptr<CaptureStream>(new MacCaptureStream(stream, receiver, queue, hasEnded));
}

MacCaptureStream::MacCaptureStream(SCStream* stream, id<SCStreamDelegate> delegate, std::shared_ptr<Queue> queue,
                                   std::shared_ptr<std::atomic<bool>> hasEnded)
    : stream_(stream), delegate_(delegate), queue_(std::move(queue)), hasEnded_(std::move(hasEnded)) {}

MacCaptureStream::~MacCaptureStream() {
  if (!*hasEnded_) stopCapture([](const std::optional<Error>&) {});
}

void MacCaptureStream::startCapture(Completion completion) {
  [stream_ startCaptureWithCompletionHandler:completing(std::move(completion), queue_)];
}

/// A stream that has ended by itself must not be stopped again.
void MacCaptureStream::stopCapture(Completion completion) {
  const CompletionHandler completed = completing(std::move(completion), queue_);
  if (hasEnded_->exchange(true)) return completed(nil);
  [stream_ stopCaptureWithCompletionHandler:completed];
}

}  // namespace tandemview
