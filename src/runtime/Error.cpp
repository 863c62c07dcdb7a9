#include "runtime/Error.h"

#include <fmt/format.h>

#include <system_error>

namespace tandemview {

std::string Error::localizedDescription() const {
  if (!description.empty()) return description;
  return fmt::format("The operation couldn’t be completed. ({} error {}.)", domain, code);
}

std::string Error::wholeDescription() const {
  return fmt::format("Error Domain={} Code={} \"{}\"", domain, code, description.empty() ? "(null)" : description);
}

Error posixError(int code) {
  return {posixErrorDomain, code, std::generic_category().message(code)};
}

}  // namespace tandemview
