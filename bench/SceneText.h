#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "bench/SceneImage.h"

namespace tandemview {

/// Text that looks like source code, made up from a seed and drawn like an editor draws it.
class SceneText {
 public:
  SceneText(std::uint32_t seed, double fontSize);

  int lineHeight() const { return lineHeight_; }

  /// Line after line on the editor's background, `lines` of them, in as many columns as the width has room for.
  SceneImage render(int width, int lines);

 private:
  std::string nextLine();
  void drawLine(cairo_t* context, const std::string& line, int number, double baseline) const;

  std::minstd_rand random_;
  const double fontSize_;
  const int lineHeight_;
  double advance_ = 0;  // of every character
  std::size_t snippet_ = 0;
  std::vector<std::string> pending_;  // lines of the snippet under way, the next one last
};

}  // namespace tandemview
