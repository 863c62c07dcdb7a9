#pragma once

#include <string>
#include <string_view>

namespace tandemview {

/// `text` as part of one line that does nothing but show. Control characters of 7 and of 8 bits (line breaks and the
/// beginnings of escape sequences among them), those that turn the direction of what follows, and bytes that are not
/// UTF-8 become blanks: one each.
std::string printableText(std::string_view text);

}  // namespace tandemview
