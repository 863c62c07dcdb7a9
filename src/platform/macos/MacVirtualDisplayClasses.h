#pragma once

#import <Foundation/Foundation.h>

#include <string>

namespace tandemview {

/// The classes that virtual displays are made of, looked up by name; nil where the system lacks one.
struct MacVirtualDisplayClasses {
  /// `name` is the display's own; the others' begin with it.
  explicit MacVirtualDisplayClasses(const std::string& name);

  Class display;
  Class descriptor;
  Class settings;
  Class mode;
};

}  // namespace tandemview
