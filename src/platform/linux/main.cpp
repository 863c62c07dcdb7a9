#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "app/AppDelegate.h"
#include "platform/linux/FileUserDefaults.h"
#include "platform/linux/LinuxApplication.h"
#include "platform/linux/LogindSleepMonitor.h"
#include "platform/linux/PrintedAlerts.h"
#include "platform/linux/SingleInstance.h"
#include "platform/linux/TurboJpegImageEncoder.h"
#include "platform/linux/X11CaptureSystem.h"
#include "platform/linux/X11DisplaySystem.h"
#include "platform/linux/X11EventSystem.h"
#include "runtime/Log.h"
#include "runtime/SerialQueue.h"

using namespace tandemview;

namespace {

/// Where Debian's usbmuxd listens.
constexpr const char* usbmuxdSocket = "/var/run/usbmuxd";

PlatformTexts linuxTexts() {
  return {.unsupportedMessage = "No spare display output",
          .unsupportedExplanation =
              "The X server offers no output that a virtual display could use.\n\n"
              "Options:\n"
              "1. Use a server with spare outputs (the dummy or modesetting driver, an EVDI "
              "device)\n"
              "2. Switch a virtual output on in the driver's configuration\n"
              "3. Make sure that DISPLAY names an X server with RandR 1.2 or later",
          .unsupportedStatus = "No spare display output"};
}

}  // namespace

int main(int argc, char** argv) {
  const ProgramInfo program = {
      .name = "Tandemview", .shortVersion = TANDEMVIEW_VERSION, .build = TANDEMVIEW_BUILD_NUMBER};
  std::string socketPath = usbmuxdSocket;
  CLI::App commandLine("Turns an iPhone or iPad into an extra display.", "tandemview");
  commandLine.add_option("--usbmuxd-socket", socketPath, "Socket of the USB multiplexing daemon")
      ->capture_default_str();
  commandLine.set_version_flag("--version", program.shortVersion);
  CLI11_PARSE(commandLine, argc, argv);

  const auto mainQueue = std::make_shared<SerialQueue>("main");
  const auto backgroundQueue = SerialQueue::withThread("background");
  const auto sampleQueue = SerialQueue::withThread("com.tandemview.capture");
  const auto wifiQueue = SerialQueue::withThread("com.app.wifisender");
  const auto clock = std::make_shared<SystemMediaClock>();
  const auto notificationCenter = std::make_shared<NotificationCenter>();

  const auto displays = std::make_shared<X11DisplaySystem>();
  const auto captures = std::make_shared<X11CaptureSystem>(mainQueue);

  std::shared_ptr<AppDelegate> delegate;
  const auto terminate = [&delegate, &mainQueue] {
    if (delegate) delegate->applicationWillTerminate();
    mainQueue->stop();
  };

  std::random_device randomDevice;
  std::shared_ptr<PTUSBHub> hub;
  const auto sharedHub = [&] {
    if (!hub) {
      hub = PTUSBHub::listeningHub(
          {.socketPath = socketPath, .program = program, .queue = mainQueue, .notificationCenter = notificationCenter});
    }
    return hub;
  };

  const auto application = std::make_shared<LinuxApplication>(
      std::vector<std::string>(argv + 1, argv + argc),
      std::make_unique<SingleInstance>(mainQueue,
                                       [] { Log::line("👋 Tandemview is already running: a second start has ended"); }),
      terminate);
  std::shared_ptr<LogindSleepMonitor> sleepMonitor;

  delegate = std::make_shared<AppDelegate>(
      AppDelegate::Surroundings{.mainQueue = mainQueue,
                                .backgroundQueue = backgroundQueue,
                                .sampleQueue = sampleQueue,
                                .wifiQueue = wifiQueue,
                                .clock = clock,
                                .wallClock = std::make_shared<SystemWallClock>(),
                                .randomBits = std::ref(randomDevice),
                                .notificationCenter = notificationCenter,
                                .program = program,
                                .texts = linuxTexts(),
                                .application = application,
                                .alerts = std::make_shared<PrintedAlerts>(),
                                .userDefaults = std::make_shared<FileUserDefaults>(FileUserDefaults::defaultPath()),
                                .displays = displays,
                                .captures = captures,
                                .makeImageEncoder = [] { return std::make_unique<TurboJpegImageEncoder>(); },
                                .sharedHub = sharedHub,
                                .events = std::make_shared<X11EventSystem>(mainQueue, clock)});

  mainQueue->onSignals({SIGTERM, SIGINT, SIGHUP}, [terminate](int) { terminate(); });
  mainQueue->async([&] {
    displays->onConnectionLost(mainQueue, [terminate] {
      Log::line("👋 The connection to the X server has ended");
      terminate();
    });
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
  backgroundQueue->stopAndJoin();
  return EXIT_SUCCESS;
}
