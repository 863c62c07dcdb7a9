#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "app/AppDelegate.h"
#include "platform/linux/CommandLine.h"
#include "platform/linux/DesktopChoice.h"
#include "platform/linux/alerts/AlertQueue.h"
#include "platform/linux/alerts/NotificationAlerts.h"
#include "platform/linux/alerts/PrintedAlerts.h"
#include "platform/linux/alerts/ZenityAlerts.h"
#include "platform/linux/desktop/LinuxTexts.h"
#include "platform/linux/host/AutostartEntry.h"
#include "platform/linux/host/FileUserDefaults.h"
#include "platform/linux/host/LinuxApplication.h"
#include "platform/linux/host/LogindLidInhibitor.h"
#include "platform/linux/host/LogindSleepMonitor.h"
#include "platform/linux/host/ProcfsResources.h"
#include "platform/linux/host/SingleInstance.h"
#include "platform/linux/host/Succession.h"
#include "platform/linux/picture/TurboJpegImageEncoder.h"
#include "platform/linux/tray/IconDirectory.h"
#include "platform/linux/tray/StatusNotifierItem.h"
#include "platform/linux/wifi/AvahiWiFiNetwork.h"
#include "runtime/Log.h"
#include "runtime/SerialQueue.h"
#include "runtime/StandardDescriptors.h"
#include "runtime/Trace.h"

using namespace tandemview;

namespace {

/// How long the copy that this one replaces may take to end. It waits for services that don't answer, one after the
/// other, a few seconds for each. Then the search for running copies decides, as it does for any start.
constexpr int longestFarewellSeconds = 60;

/// Names the file for the moments of each picture's way; for the measurements.
constexpr const char* traceVariable = "TANDEMVIEW_TRACE";

}  // namespace

int main(int argc, char** argv) {
  openStandardDescriptors();
  const std::string executable = executablePath();
  Succession succession = Succession::take();
  const ProgramInfo program = {
      .name = "Tandemview", .shortVersion = TANDEMVIEW_VERSION, .build = TANDEMVIEW_BUILD_NUMBER};
  const CommandLine commandLine = CommandLine::parse(argc, argv);
  if (commandLine.exitStatus) return *commandLine.exitStatus;
  if (!succession.waitForPredecessor(longestFarewellSeconds)) {
    Log::print("⚠️ The copy that this one replaces (process {}) has not ended in {} seconds",
               succession.predecessor, longestFarewellSeconds);
  }

  const char* const tracePath = std::getenv(traceVariable);
  if (tracePath && !Trace::start(tracePath)) Log::print("⚠️ No trace can be written to {}", tracePath);

  const auto desktop = chooseDesktop(commandLine.desktop);
  const PlatformTexts texts = linuxTexts(desktop->texts());
  if (!desktop->isAvailable()) {
    PrintedAlerts().show({.style = AlertStyle::Warning,
                          .message = texts.unsupportedMessage,
                          .informativeText = texts.unsupportedExplanation,
                          .buttons = {"OK"}},
                         [](int) {});
    return EXIT_FAILURE;
  }

  const auto mainQueue = std::make_shared<SerialQueue>();
  const auto backgroundQueue = SerialQueue::withThread("background");
  const auto displayQueue = SerialQueue::withThread("display");
  const auto sampleQueue = SerialQueue::withThread("com.tandemview.capture");
  const auto wifiQueue = SerialQueue::withThread("com.app.wifisender");
  const auto clock = std::make_shared<SystemMediaClock>();
  const auto notificationCenter = std::make_shared<NotificationCenter>();

  const auto userDefaults = std::make_shared<FileUserDefaults>(FileUserDefaults::defaultPath());

  std::shared_ptr<AppDelegate> delegate;
  const auto terminate = [&delegate, &mainQueue] {
    if (delegate) delegate->applicationWillTerminate();
    mainQueue->stop();
  };

  std::random_device randomDevice;
  std::shared_ptr<PTUSBHub> hub;
  const auto sharedHub = [&] {
    if (!hub) {
      hub = PTUSBHub::listeningHub({.socketPath = commandLine.socketPath,
                                    .program = program,
                                    .queue = mainQueue,
                                    .notificationCenter = notificationCenter});
    }
    return hub;
  };

  const auto makeAlerts = [mainQueue] {
    const auto dialogs = std::make_shared<ZenityAlerts>(mainQueue, std::make_shared<PrintedAlerts>());
    return std::make_shared<NotificationAlerts>(mainQueue, std::make_shared<AlertQueue>(dialogs));
  };
  const auto statusItem = std::make_shared<StatusNotifierItem>(
      mainQueue, iconDirectory(executable), std::make_shared<StatusNotification>(mainQueue, makeAlerts));
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const auto lidSleep = std::make_shared<LogindLidInhibitor>(std::move(succession.lidLock));
  const auto application = std::make_shared<LinuxApplication>(LinuxApplication::Surroundings{
      .mainQueue = mainQueue,
      .executablePath = executable,
      .arguments = arguments,
      .singleInstance =
          std::make_unique<SingleInstance>(mainQueue, succession.predecessor,
                                           [statusItem] {
                                             Log::line("👋 Tandemview is already running: a second start has ended");
                                             statusItem->showAgain();
                                           }),
      .copyLidLock = [lidSleep] { return lidSleep->copyLock(); },
      .terminate = terminate});
  std::vector<std::string> command = {executable};
  command.insert(command.end(), arguments.begin(), arguments.end());
  std::shared_ptr<LogindSleepMonitor> sleepMonitor;
  const Desktop::Ports ports = desktop->open({.mainQueue = mainQueue,
                                              .clock = clock,
                                              .userDefaults = userDefaults,
                                              .application = application,
                                              .sessionEnded = terminate});

  delegate = std::make_shared<AppDelegate>(AppDelegate::Surroundings{
      .mainQueue = mainQueue,
      .backgroundQueue = backgroundQueue,
      .displayQueue = displayQueue,
      .sampleQueue = sampleQueue,
      .wifiQueue = wifiQueue,
      .clock = clock,
      .wallClock = std::make_shared<SystemWallClock>(),
      .randomBits = std::ref(randomDevice),
      .notificationCenter = notificationCenter,
      .program = program,
      .texts = texts,
      .application = application,
      .alerts = makeAlerts(),  // apart from what stands for the menu, perhaps for hours: it must not replace that
      .statusItems = statusItem,
      .lidSleep = lidSleep,
      .loginItem = std::make_shared<AutostartEntry>(AutostartEntry::defaultPath(), command),
      .permissions = ports.permissions,
      .resources = std::make_shared<ProcfsResources>(clock),
      .userDefaults = userDefaults,
      .screens = ports.screens,
      .displays = ports.displays,
      .captures = ports.captures,
      .makeImageEncoder = [] { return std::make_unique<TurboJpegImageEncoder>(); },
      .sharedHub = sharedHub,
      .events = ports.events,
      .wifiNetwork = std::make_shared<AvahiWiFiNetwork>(wifiQueue)});

  mainQueue->onSignals({SIGTERM, SIGINT, SIGHUP}, [terminate](int) { terminate(); });
  mainQueue->async([&] {
    sleepMonitor = LogindSleepMonitor::started({.mainQueue = mainQueue,
                                                .notificationCenter = notificationCenter,
                                                .object = static_cast<const ApplicationSystem*>(application.get())});
    delegate->applicationDidFinishLaunching();
  });
  mainQueue->run();
  sleepMonitor.reset();
  // Nothing may still work in the background when the objects that it works on go.
  wifiQueue->stopAndJoin();
  sampleQueue->stopAndJoin();
  displayQueue->stopAndJoin();
  backgroundQueue->stopAndJoin();
  return application->exitStatus();
}
