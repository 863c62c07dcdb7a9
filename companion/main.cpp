#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>

#include "companion/Companion.h"
#include "runtime/FileContents.h"
#include "runtime/Log.h"
#include "runtime/StandardDescriptors.h"

namespace {

using namespace tandemview;

constexpr int usageError = 2;

const CLI::Validator sizeValidator(
    [](std::string& text) { return frameSizeFromText(text) ? "" : "sides from 16 to 16384 pixels, such as 1290x2796"; },
    "WxH");

/// What the command line says beside the options proper.
struct CommandLine {
  Companion::Options options;
  std::string size = "1290x2796";
  std::string muxPath;
  std::string wifiCode;
  std::string scriptPath;
};

void declareOptions(CLI::App& app, CommandLine& line) {
  Companion::Options& options = line.options;
  app.set_version_flag("--version", "tandemview-companion " TANDEMVIEW_VERSION);

  CLI::Option_group* way = app.add_option_group("The ways to the host (at least one)");
  CLI::Option* mux = way->add_option("--mux", line.muxPath,
                                     "Play the multiplexing daemon on this Unix socket, and the phone behind it")
                         ->type_name("PATH");
  way->add_option("--listen", options.listenPort, "Be the phone on this TCP port of 127.0.0.1; 0 takes a free one")
      ->type_name("PORT")
      ->excludes(mux);
  way->add_option("--wifi", line.wifiCode, "Be found over Wi-Fi by the host with this pairing code")->type_name("CODE");
  way->require_option(1, 2);

  CLI::Option_group* phone = app.add_option_group("The phone");
  phone->add_option("--size", line.size, "Its screen in pixels")->check(sizeValidator)->capture_default_str();
  phone->add_option("--scale", options.info.scale, "Pixels per point")
      ->check(CLI::Range(0.1, 100.0))
      ->capture_default_str();
  phone->add_option("--idiom", options.info.idiom, "Kind of device")
      ->check(CLI::IsMember({"phone", "pad"}))
      ->default_str("phone");
  phone->add_option("--orientation", options.info.orientation, "How it is held")
      ->type_name("TEXT")
      ->capture_default_str();
  phone->add_option("--quality", options.info.quality, "Its quality mode")->type_name("TEXT")->capture_default_str();
  phone->add_option("--port", options.port, "Its port behind the daemon")->type_name("N")->capture_default_str();
  phone->add_option("--device-id", options.deviceID, "Its number with the daemon")
      ->type_name("N")
      ->capture_default_str();
  phone->add_option("--ping-interval", options.pingInterval, "Seconds between pings")
      ->type_name("S")
      ->check(CLI::Range(0.001, 3600.0))
      ->capture_default_str();
  phone->add_flag("--full-resolution", options.fullResolution, "Expect the frames of a host set to full resolution");
  phone->add_option("--script", line.scriptPath, "What happens when: lines of SECONDS ACTION ARGUMENTS")
      ->type_name("FILE")
      ->check(CLI::ExistingFile);

  CLI::Option_group* end = app.add_option_group("The end (otherwise by SIGINT or SIGTERM)");
  end->add_option("--frames", options.frames, "End after so many frames")->type_name("N")->check(CLI::PositiveNumber);
  end->add_option("--seconds", options.seconds, "End after so long")->type_name("N")->check(CLI::Range(0.0, 1e6));

  CLI::Option_group* output = app.add_option_group("Output");
  output->add_option("--save", options.saveDirectory, "Save frames as DIR/frame-000001.jpg, the last as DIR/last.jpg")
      ->type_name("DIR");
  output->add_option("--save-every", options.saveEvery, "Save only every Nth frame")
      ->type_name("N")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  output->add_option("--json", options.jsonPath, "Write a summary for programs; - is standard output, for it alone")
      ->type_name("FILE");
#ifndef __APPLE__  // There windows are for the main thread to serve, which serves the queue here.
  output->add_flag("--window", options.window, "Show the frames in a window, whose mouse and keyboard are the phone's");
#endif
}

/// False, with a line printed: the script is no good.
bool loadScript(CommandLine& line) {
  if (line.scriptPath.empty()) return true;
  auto script = parseScript(contentsOfRegularFile(line.scriptPath).value_or(""));
  if (!script) {
    Log::print("companion: {}, {}", line.scriptPath, script.error());
    return false;
  }
  line.options.script = std::move(*script);
  return true;
}

int run(CommandLine line) {
  const FrameSize size = *frameSizeFromText(line.size);
  line.options.info.width = size.width;
  line.options.info.height = size.height;
  if (!line.muxPath.empty()) line.options.muxPath = line.muxPath;
  if (!line.wifiCode.empty()) line.options.wifiCode = line.wifiCode;
  if (line.options.jsonPath == "-") {
    Log::setSink(
        [](std::string_view text) { std::fprintf(stderr, "%.*s\n", static_cast<int>(text.size()), text.data()); });
  }
  if (!loadScript(line)) return usageError;

  const auto queue = std::make_shared<SerialQueue>("main");
  Companion companion(queue, std::move(line.options));
  queue->onSignals({SIGINT, SIGTERM}, [&](int signal) { companion.end(signal == SIGINT ? "SIGINT" : "SIGTERM"); });
  if (!companion.start()) return EXIT_FAILURE;
  queue->run();
  return companion.finish() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  openStandardDescriptors();
  CLI::App app("Plays the phone for Tandemview: receives its frames, checks and measures them.",
               "tandemview-companion");
  CommandLine line;
  declareOptions(app, line);
  try {
    app.parse(argumentCount, arguments);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? EXIT_SUCCESS : usageError;
  }
  return run(std::move(line));
}
