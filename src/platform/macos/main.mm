#import "platform/macos/MacScreenSenderApp.h"
#include "runtime/StandardDescriptors.h"

int main() {
  tandemview::openStandardDescriptors();
  @autoreleasepool {
    [MacScreenSenderApp main];
  }
}
