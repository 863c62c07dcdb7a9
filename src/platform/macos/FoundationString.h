#pragma once

#import <Foundation/Foundation.h>

#include <string>
#include <string_view>

namespace tandemview {

/// UTF-8 text as a Foundation string; what isn't UTF-8 becomes an empty one.
inline NSString* foundationString(std::string_view text) {
  NSString* string = [[NSString alloc] initWithBytes:text.data() length:text.size() encoding:NSUTF8StringEncoding];
  return string ? string : @"";
}

inline std::string stringFrom(NSString* string) {
  const char* text = string.UTF8String;
  return text ? text : "";
}

}  // namespace tandemview
