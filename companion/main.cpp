#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "command_line/OptionParser.h"
#include "companion/Companion.h"
#include "companion/DisplayLoss.h"
#include "runtime/FileContents.h"
#include "runtime/Log.h"
#include "runtime/StandardDescriptors.h"

#ifndef __APPLE__
#include "platform/linux/session/ConfigurationDirectory.h"
#endif

namespace {

using namespace tandemview;

constexpr int usageError = 2;

constexpr std::string_view sizeOfWindow = "window";
constexpr const char* usualSize = "1290x2796";

/// What the command line says beside the options proper.
struct Arguments {
  Companion::Options options;
  std::string size = usualSize;
  std::string listening;
  std::string scriptPath;
};

/// What a value must be, by a predicate of its text.
OptionParser::Check mustBe(const char* description, bool (*isGood)(const std::string&)) {
  return {.fault = [=](const std::string& text) { return isGood(text) ? "" : description; }};
}

const auto notEmpty = mustBe("must not be empty", [](const std::string& text) { return !text.empty(); });

constexpr const char* examples = R"(Examples:
  A second screen in a window, found over Wi-Fi by the host that shows the code 42:
    tandemview-companion --wifi 42 --window
  A host on trial, over a cable that is played; every message is printed, and 1 is the status after any fault:
    tandemview-companion --mux /tmp/mux --trace --seconds 30 & tandemview --usbmuxd-socket /tmp/mux

Scripts: lines of SECONDS ACTION ARGUMENTS; the actions:
)";

void declareOptions(OptionParser& line, Arguments& arguments) {
  Companion::Options& options = arguments.options;

  line.group("The ways to the host (at least one)", /*needsOne=*/true);
  line.option({"--mux", "Play the multiplexing daemon on this Unix socket, and the phone behind it", "PATH"},
              options.muxPath, notEmpty);
  line.option(
      {"--listen", "Be the phone there; port 0 takes a free one, and PORT alone is one of 127.0.0.1", "ADDRESS:PORT"},
      arguments.listening,
      mustBe("an address in numbers and a port, such as 192.168.1.7:2345, [::1]:2345 or 2345",
             [](const std::string& text) { return socketAddressFromText(text).has_value(); }));
  line.exclude("--listen", "--mux");
  line.option({"--wifi", "Be found over Wi-Fi by the host with this pairing code", "CODE"}, options.wifiCode,
              mustBe("two digits, as the host shows them", [](const std::string& text) {
                return text.size() == 2 && text.find_first_not_of("0123456789") == std::string::npos;
              }));

  line.group("The phone");
  line.option({"--size", "Its screen in pixels; \"window\": the one for frames that fill the window sharply"},
              arguments.size,
              {[](const std::string& text) {
                 return text == sizeOfWindow || frameSizeFromText(text)
                            ? ""
                            : "sides from 16 to 16384 pixels, such as 1290x2796, or window";
               },
               "WxH"});
  line.option({"--scale", "Pixels per point"}, options.info.scale, OptionParser::range(0.1, 100));
  line.option({"--idiom", "Kind of device"}, options.info.idiom, OptionParser::oneOf({"phone", "pad"}));
  line.option({"--orientation", "How it is held", "TEXT"}, options.info.orientation);
  line.option({"--quality", "Its quality mode", "TEXT"}, options.info.quality);
  line.option({"--port", "Its port behind the daemon", "N"}, options.port);
  line.option({"--device-id", "Its number with the daemon", "N"}, options.deviceID);
  line.option({"--ping-interval", "Seconds between pings", "S"}, options.pingInterval,
              OptionParser::range(0.001, 3600));
  line.option({"--pong-deadline", "Seconds after which a pong is late", "S"}, options.pongDeadline,
              OptionParser::range(0.001, 3600));
  line.option({"--frame-deadline", "Seconds from a description of the screen to the first frame that fits it", "S"},
              options.frameDeadline, OptionParser::range(0.001, 3600));
  line.flag("--full-resolution", "Expect the frames of a host set to full resolution", options.fullResolution);
  line.option({"--script", "What happens when: lines of SECONDS ACTION ARGUMENTS", "FILE"}, arguments.scriptPath,
              OptionParser::existingFile());

  line.group("The end (otherwise by SIGINT, SIGTERM or SIGHUP)");
  line.option({"--frames", "End after so many frames", "N"}, options.frames, OptionParser::range(1, 1e9));
  line.option({"--seconds", "End after so long", "N"}, options.seconds, OptionParser::range(0, 1e6));

  line.group("Output");
  line.option({"--save", "Save frames as DIR/frame-000001.jpg, the last as DIR/last.jpg", "DIR"},
              options.saveDirectory);
  line.option({"--save-every", "Save only every Nth frame; 0 saves only the last", "N"}, options.saveEvery,
              OptionParser::range(0, 1e9));
  line.option({"--frame-log",
               "Write a line for each frame of a host on this machine: when it was received, sent and "
               "drawn, and its bytes",
               "FILE"},
              options.frameLogPath, notEmpty);
  line.flag("--trace", "Print every message: its time, link, direction and size", options.trace);
  line.option({"--json", "Write a summary for programs; - is standard output, for it alone", "FILE"}, options.jsonPath,
              notEmpty);
#ifndef __APPLE__  // There windows are for the main thread to serve, which serves the queue here.
  line.flag("--window", "Show the frames in a window, whose mouse and keyboard are the phone's", options.window);
  line.flag("--fullscreen", "Show them on the whole screen, with mouse and keyboard taken; F11 gives them back",
            options.fullScreen);
#endif
}

#ifndef __APPLE__
/// From a desktop's menu, where nobody can give options: a window that asks for what it needs.
bool isPlainStart(int argumentCount) {
  const auto isSet = [](const char* name) {
    const char* const value = std::getenv(name);
    return value && *value;
  };
  return argumentCount == 1 && (isSet("DISPLAY") || isSet("WAYLAND_DISPLAY"));
}

void makePlainStart(Arguments& arguments) {
  arguments.size = sizeOfWindow;
  arguments.options.window = true;
  arguments.options.receptionPath = configurationDirectory() + "/tandemview/companion.json";
}
#endif

/// False, with a line printed: the script is no good.
bool loadScript(Arguments& arguments) {
  if (arguments.scriptPath.empty()) return true;
  auto script = parseScript(contentsOfRegularFile(arguments.scriptPath).value_or(""));
  if (!script) {
    Log::print("companion: {}, {}", arguments.scriptPath, script.error());
    return false;
  }
  arguments.options.script = std::move(*script);
  return true;
}

int run(Arguments arguments) {
  arguments.options.window |= arguments.options.fullScreen;
  arguments.options.sizeOfWindow = arguments.size == sizeOfWindow;
  if (arguments.options.sizeOfWindow && !arguments.options.window) {
    Log::line("companion: --size window needs --window");
    return usageError;
  }
  const FrameSize size = *frameSizeFromText(arguments.options.sizeOfWindow ? usualSize : arguments.size);
  arguments.options.info.width = size.width;
  arguments.options.info.height = size.height;
  arguments.options.listening = socketAddressFromText(arguments.listening);
  if (arguments.options.jsonPath == "-") {
    Log::setSink(
        [](std::string_view text) { std::fprintf(stderr, "%.*s\n", static_cast<int>(text.size()), text.data()); });
  }
  if (!loadScript(arguments)) return usageError;

  const auto queue = std::make_shared<SerialQueue>();
  Companion companion(queue, std::move(arguments.options));
  queue->onSignals({SIGINT, SIGTERM, SIGHUP}, [&](int signal) {
    companion.end(signal == SIGINT ? "SIGINT" : signal == SIGTERM ? "SIGTERM" : "SIGHUP");
  });
  if (!companion.start()) return EXIT_FAILURE;
  queue->run();
  return companion.finish() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argumentCount, char** argumentValues) {
  openStandardDescriptors();
  leaveDisplayLibrariesAfterLoss();
  Arguments arguments;
#ifndef __APPLE__
  if (isPlainStart(argumentCount)) {
    makePlainStart(arguments);
    return run(std::move(arguments));
  }
#endif
  OptionParser line("Plays the phone for Tandemview: receives its frames, checks and measures them.",
                    "tandemview-companion", "tandemview-companion " TANDEMVIEW_VERSION);
  declareOptions(line, arguments);
  line.footer(examples + scriptHelp());
  if (const auto status = line.parse(argumentCount, argumentValues)) return *status;
  return run(std::move(arguments));
}
