#pragma once

#include <string>
#include <string_view>

namespace tandemview {

/// Takes the first user-perceived character (extended grapheme cluster, UAX #29) off `text` and returns its UTF-16
/// code units. `text` is UTF-8 and not empty; a byte that is not UTF-8 counts as U+FFFD.
std::u16string takeCharacter(std::string_view& text);

/// `text` (UTF-8) in lower case, whatever the language.
std::string lowercased(std::string_view text);

}  // namespace tandemview
