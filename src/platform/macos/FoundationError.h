#pragma once

#import <Foundation/Foundation.h>

#include "runtime/Error.h"

namespace tandemview {

/// A framework's error as the core's value, with the words that macOS has for it in the user's language.
Error errorFrom(NSError* error);

}  // namespace tandemview
