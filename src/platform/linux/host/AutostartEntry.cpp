#include "platform/linux/host/AutostartEntry.h"

#include <filesystem>
#include <string_view>

#include "platform/linux/session/ConfigurationDirectory.h"
#include "runtime/AtomicFile.h"

namespace tandemview {

namespace {

/// One argument of an entry's Exec key, as freedesktop.org's desktop entries want it: quoted, then escaped as every
/// string is.
std::string execArgument(const std::string& argument) {
  std::string quoted = "\"";
  for (const char character : argument) {
    if (std::string_view("\"`$\\").find(character) != std::string_view::npos) quoted += '\\';
    if (character == '%') quoted += '%';
    quoted += character;
  }
  quoted += '"';
  std::string escaped;
  for (const char character : quoted) {
    switch (character) {
      case '\\':
        escaped += "\\\\";
        break;
      case '\n':
        escaped += "\\n";
        break;
      case '\t':
        escaped += "\\t";
        break;
      case '\r':
        escaped += "\\r";
        break;
      default:
        escaped += character;
    }
  }
  return escaped;
}

}  // namespace

std::string AutostartEntry::defaultPath() {
  return configurationDirectory() + "/autostart/tandemview.desktop";
}

AutostartEntry::AutostartEntry(std::string path, std::vector<std::string> command)
    : path_(std::move(path)), command_(std::move(command)) {}

std::optional<Error> AutostartEntry::registerApplication() {
  std::string entry =
      "[Desktop Entry]\n"
      "Type=Application\n"
      "Name=Tandemview\n"
      "Comment=Turns an iPhone or iPad into an extra display\n"
      "Icon=tandemview\n"
      "Exec=";
  for (const std::string& argument : command_) {
    entry += execArgument(argument);
    entry += ' ';
  }
  entry.back() = '\n';
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), error);
  if (error) return posixError(error.value());
  return writeFileAtomically(path_, entry);
}

std::optional<Error> AutostartEntry::unregisterApplication() {
  std::error_code error;
  std::filesystem::remove(path_, error);  // one that is not there is no error
  if (error) return posixError(error.value());
  return std::nullopt;
}

}  // namespace tandemview
