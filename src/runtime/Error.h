#pragma once

#include <cstdint>
#include <string>
#include <tl/expected.hpp>

namespace tandemview {

/// A failure as a value: nothing throws across a room's wall.
struct Error {
  std::string domain;
  std::int64_t code = 0;
  /// Empty when the failure has no words of its own; see localizedDescription().
  std::string description;

  /// The text shown to people: the description, or the domain and code when there is none.
  std::string localizedDescription() const;

  /// All of it, for those who look for the cause: Error Domain=NSPOSIXErrorDomain Code=2 "No such file or directory".
  std::string wholeDescription() const;

  bool operator==(const Error&) const = default;
};

inline constexpr const char* posixErrorDomain = "NSPOSIXErrorDomain";

/// An error of the POSIX domain with the system's text for `code`, an errno value.
Error posixError(int code);

template <typename Value>
using Result = tl::expected<Value, Error>;

}  // namespace tandemview
