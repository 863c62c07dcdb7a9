#include "platform/linux/tray/IconDirectory.h"

#include <filesystem>

namespace tandemview {

std::string iconDirectory(const std::string& executablePath) {
  const std::filesystem::path installed =
      std::filesystem::path(executablePath).parent_path().parent_path() / "share" / "icons";
  std::error_code error;
  if (std::filesystem::exists(installed / "hicolor" / "symbolic" / "apps" / "tandemview-symbolic.svg", error)) {
    return installed;
  }
  return TANDEMVIEW_SOURCE_ICONS;
}

}  // namespace tandemview
