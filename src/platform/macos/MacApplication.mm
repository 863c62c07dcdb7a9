#import "platform/macos/MacApplication.h"

#import <AppKit/AppKit.h>

#include <sys/event.h>

#include <cerrno>
#include <cstdlib>

#import "platform/macos/FoundationError.h"
#import "platform/macos/FoundationString.h"
#include "runtime/AtomicFile.h"
#include "runtime/Descriptor.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

/// How a copy that was opened without a script is told which process it replaces: "-predecessor NUMBER" on its command
/// line, which the user defaults read.
NSString* const predecessorKey = @"predecessor";

/// How long the copy that this one replaces may take to end. Then the search for running copies decides, as it does for
/// any start.
constexpr time_t longestFarewellSeconds = 60;

/// A process that reads nothing and whose errors go nowhere.
NSTask* makeTask(const std::string& tool, const std::vector<std::string>& arguments) {
  NSMutableArray<NSString*>* words = [NSMutableArray arrayWithCapacity:arguments.size()];
  for (const std::string& argument : arguments) [words addObject:foundationString(argument)];
  NSTask* task = [[NSTask alloc] init];
  task.executableURL = [NSURL fileURLWithPath:foundationString(tool)];
  task.arguments = words;
  task.standardInput = NSFileHandle.fileHandleWithNullDevice;
  task.standardOutput = NSFileHandle.fileHandleWithNullDevice;
  task.standardError = NSFileHandle.fileHandleWithNullDevice;
  return task;
}

/// The copy that this one replaces; 0 if there is none, or if that process has ended and its number is another's.
ProcessIdentifier livingPredecessor() {
  const id number = [NSUserDefaults.standardUserDefaults volatileDomainForName:NSArgumentDomain][predecessorKey];
  if (![number respondsToSelector:@selector(intValue)]) return 0;
  const ProcessIdentifier predecessor = [number intValue];
  NSRunningApplication* const application =
      predecessor > 0 ? [NSRunningApplication runningApplicationWithProcessIdentifier:predecessor] : nil;
  NSString* const identifier = NSBundle.mainBundle.bundleIdentifier;
  return identifier && [application.bundleIdentifier isEqualToString:identifier] ? predecessor : 0;
}

/// False: it lives on after that time.
bool waitForEnd(ProcessIdentifier process) {
  const Descriptor events(::kqueue());
  struct kevent end;
  EV_SET(&end, process, EVFILT_PROC, EV_ADD | EV_ONESHOT, NOTE_EXIT, 0, nullptr);
  const timespec limit = {.tv_sec = longestFarewellSeconds, .tv_nsec = 0};
  struct kevent happened;
  int count = 0;
  do {
    count = ::kevent(events.get(), &end, 1, &happened, 1, &limit);  // an error, too, if it has ended already
  } while (count < 0 && errno == EINTR);
  return count != 0;
}

std::string textOf(NSData* data) {
  return {static_cast<const char*>(data.bytes), data.length};
}

}  // namespace

MacApplication::MacApplication(std::shared_ptr<Queue> mainQueue) : mainQueue_(std::move(mainQueue)) {}

bool MacApplication::hasEnvironmentVariable(const std::string& name) const {
  return std::getenv(name.c_str()) != nullptr;
}

ProcessIdentifier MacApplication::processIdentifier() const {
  return NSProcessInfo.processInfo.processIdentifier;
}

std::vector<ProcessIdentifier> MacApplication::runningCopies() {
  ProcessIdentifier ended = livingPredecessor();
  if (ended != 0 && !waitForEnd(ended)) {
    Log::print("⚠️ The copy that this one replaces (process {}) has not ended in {} seconds", ended,
               longestFarewellSeconds);
    ended = 0;
  }
  NSString* identifier = NSBundle.mainBundle.bundleIdentifier;
  std::vector<ProcessIdentifier> copies;
  for (NSRunningApplication* application in NSWorkspace.sharedWorkspace.runningApplications) {
    if (application.processIdentifier == ended) continue;  // the list may not know it yet
    if (identifier && [application.bundleIdentifier isEqualToString:identifier]) {
      copies.push_back(application.processIdentifier);
    }
  }
  return copies;
}

void MacApplication::activate(ProcessIdentifier copy) {
  [[NSRunningApplication runningApplicationWithProcessIdentifier:copy]
      activateWithOptions:NSApplicationActivateAllWindows];
}

std::string MacApplication::bundlePath() const {
  return stringFrom(NSBundle.mainBundle.bundlePath);
}

std::string MacApplication::relaunchCommand() const {
  return "open \"" + bundlePath() + "\"";
}

void MacApplication::openApplication(const std::string& bundlePath,
                                     std::function<void(std::optional<Error>)> completion) {
  NSWorkspaceOpenConfiguration* configuration = [NSWorkspaceOpenConfiguration configuration];
  configuration.createsNewApplicationInstance = YES;
  NSString* const predecessor = [NSString stringWithFormat:@"%d", processIdentifier()];
  configuration.arguments = @[ [@"-" stringByAppendingString:predecessorKey], predecessor ];
  const auto mainQueue = mainQueue_;
  const auto answer = ^(NSRunningApplication*, NSError* error) {
    const auto failure = error ? std::optional(errorFrom(error)) : std::nullopt;
    mainQueue->async([completion, failure] { completion(failure); });
  };
  [NSWorkspace.sharedWorkspace openApplicationAtURL:[NSURL fileURLWithPath:foundationString(bundlePath)]
                                      configuration:configuration
                                  completionHandler:answer];
}

Result<void> MacApplication::writeFile(const std::string& path, const std::string& text) {
  return writeFileAtomically(path, text);
}

Result<ToolOutcome> MacApplication::run(const std::string& tool, const std::vector<std::string>& arguments) {
  NSTask* task = makeTask(tool, arguments);
  NSPipe* output = [NSPipe pipe];
  task.standardOutput = output;
  // -waitUntilExit would serve the thread's run loop meanwhile, and with it works of the main queue.
  const dispatch_semaphore_t ended = dispatch_semaphore_create(0);
  task.terminationHandler = ^(NSTask*) {
    dispatch_semaphore_signal(ended);
  };
  NSError* error = nil;
  if (![task launchAndReturnError:&error]) return tl::unexpected(errorFrom(error));
  NSData* said = [output.fileHandleForReading readDataToEndOfFileAndReturnError:nil];
  dispatch_semaphore_wait(ended, DISPATCH_TIME_FOREVER);
  return ToolOutcome{.exitStatus = task.terminationStatus, .output = textOf(said)};
}

Result<ProcessIdentifier> MacApplication::start(const std::string& tool, const std::vector<std::string>& arguments) {
  NSTask* task = makeTask(tool, arguments);
  NSError* error = nil;
  if (![task launchAndReturnError:&error]) return tl::unexpected(errorFrom(error));
  return task.processIdentifier;
}

void MacApplication::terminate() {
  [NSApp terminate:nil];
}

}  // namespace tandemview
