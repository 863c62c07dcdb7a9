#include "support/PrivateGnome.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>

namespace tandemview {

namespace {

[[noreturn]] void giveUp(const char* what, const Program& program) {
  std::fprintf(stderr, "%s does not start:\n%s\n", what, program.output().c_str());
  std::abort();
}

/// Where X servers of this machine have their sockets. Whoever boots a system makes it; a container may lack it, and
/// the compositor would make one that it refuses itself, because the process's mask takes a bit away.
void makeSocketDirectory() {
  const mode_t mask = ::umask(0);
  ::mkdir("/tmp/.X11-unix", 01777);
  ::umask(mask);
}

}  // namespace

PrivateGnome::PrivateGnome(const std::vector<std::string>& monitors, const Program::Environment& environment,
                           const std::string& arrangement)
    : monitors_(monitors) {
  bus_.start();
  environment_ = {{"DBUS_SESSION_BUS_ADDRESS", bus_.address()},
                  {"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + directory() + "/no-bus"},
                  {"XDG_RUNTIME_DIR", directory()},
                  {"XDG_CONFIG_HOME", directory()},
                  {"XDG_CACHE_HOME", directory()},
                  {"HOME", directory()},
                  {"XDG_SESSION_TYPE", "wayland"},
                  {"GSETTINGS_BACKEND", "memory"},
                  {"WAYLAND_DISPLAY", "wayland-0"},
                  {"DISPLAY", ""}};
  for (const auto& [name, value] : environment) environment_[name] = value;
  std::filesystem::copy(WIREPLUMBER_CONFIGURATION, directory() + "/wireplumber",
                        std::filesystem::copy_options::recursive);
  if (!arrangement.empty()) std::ofstream(directory() + "/monitors.xml") << arrangement;
  startPipeWire();
  startCompositor();
}

PrivateGnome::~PrivateGnome() {
  for (Program* const program : {compositor_.get(), sessionManager_.get(), pipeWire_.get()}) program->end(SIGTERM);
}

void PrivateGnome::enter() const {
  for (const auto& [name, value] : environment_) ::setenv(name.c_str(), value.c_str(), /*overwrite=*/1);
}

void PrivateGnome::restartCompositor() {
  compositor_ = nullptr;
  startCompositor();
}

void PrivateGnome::restartPipeWire() {
  sessionManager_ = nullptr;
  pipeWire_ = nullptr;
  startPipeWire();
}

/// Its sessions end with the compositor's connections to PipeWire.
void PrivateGnome::endCasts(bool isForbidden) {
  if (isForbidden) bus_.forbid("org.gnome.Mutter.RemoteDesktop");
  Program({"/bin/sh", "-c",
           "pw-cli ls Client | awk '/id [0-9]+/ { id = $2 } /application.name = \"mutter\"/ { print id + 0 }' | "
           "xargs -n 1 pw-cli destroy"},
          environment_)
      .wait();
}

/// With setpriv, because a test that crashes leaves nothing.
std::unique_ptr<Program> PrivateGnome::start(const std::vector<std::string>& command) const {
  std::vector<std::string> words = {"/usr/bin/setpriv", "--pdeathsig", "KILL"};
  words.insert(words.end(), command.begin(), command.end());
  return std::make_unique<Program>(words, environment_);
}

void PrivateGnome::startPipeWire() {
  const std::string socket = directory() + "/pipewire-0";
  std::filesystem::remove(socket);
  pipeWire_ = start({"pipewire"});
  if (!Program::within30Seconds([&] { return std::filesystem::exists(socket); })) giveUp("pipewire", *pipeWire_);
  sessionManager_ = start({"wireplumber"});
}

void PrivateGnome::startCompositor() {
  makeSocketDirectory();
  environment_["DISPLAY"] = "";
  std::vector<std::string> command = {"mutter", "--headless", "--wayland"};
  for (const std::string& monitor : monitors_) command.insert(command.end(), {"--virtual-monitor", monitor});
  compositor_ = start(command);
  const std::string announcement = "Using public X11 display ";
  if (!compositor_->prints("Using Wayland display name")) giveUp("mutter (packages mutter and xwayland)", *compositor_);
  const std::string output = compositor_->output();
  const std::size_t number = output.find(announcement) + announcement.size();
  environment_["DISPLAY"] = output.substr(number, output.find(',', number) - number);
  for (const auto& entry : std::filesystem::directory_iterator(directory())) {
    if (entry.path().filename().string().starts_with(".mutter-Xwaylandauth")) environment_["XAUTHORITY"] = entry.path();
  }
  const Program::Environment& environment = environment_;
  const bool isThere = Program::within30Seconds([&] {
    return Program({"/usr/bin/gdbus", "call", "--session", "-d", "org.gnome.Mutter.ScreenCast", "-o",
                    "/org/gnome/Mutter/ScreenCast", "-m", "org.freedesktop.DBus.Peer.Ping"},
                   environment)
               .wait() == 0;
  });
  if (!isThere) giveUp("mutter", *compositor_);
}

}  // namespace tandemview
