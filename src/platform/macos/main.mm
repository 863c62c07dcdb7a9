#import "platform/macos/MacScreenSenderApp.h"

int main() {
  @autoreleasepool {
    [MacScreenSenderApp main];
  }
}
