#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/MenuItem.h"

namespace tandemview {

enum class TextColor { Label, SecondaryLabel, Green };

/// Text in one size and colour of the system font.
struct StyledText {
  std::string text;
  double pointSize = 13;
  TextColor color = TextColor::Label;

  bool operator==(const StyledText&) const = default;
};

/// The program's place in the menu bar: an image, leading a title, and the menu that hangs from it.
struct StatusItem {
  std::string symbol;
  std::vector<StyledText> title;
  std::string toolTip;
  bool isConnected = false;  // for hosts that show an image only
  std::vector<std::shared_ptr<MenuItem>> menu;
};

}  // namespace tandemview
