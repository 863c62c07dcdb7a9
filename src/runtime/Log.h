#pragma once

#include <fmt/format.h>

#include <functional>
#include <string_view>

namespace tandemview {

/// The program's diagnostics: whole lines, one sink, from any thread.
class Log {
 public:
  using Sink = std::function<void(std::string_view line)>;

  /// Prints one line, without waiting for whoever reads it: see LineWriter. What `text` holds beyond printable text
  /// becomes blanks: see printableText().
  static void line(std::string_view text);

  template <typename... Arguments>
  static void print(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    line(fmt::format(format, std::forward<Arguments>(arguments)...));
  }

  /// Replaces standard output by `sink`; an absent sink brings standard output back.
  static void setSink(Sink sink);
};

}  // namespace tandemview
