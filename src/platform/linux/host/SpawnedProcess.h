#pragma once

#include <string>
#include <vector>

#include "app/ApplicationSystem.h"
#include "platform/linux/host/Succession.h"
#include "runtime/Descriptor.h"
#include "runtime/Error.h"

namespace tandemview {

/// Starts a tool, given by its path, in a session of its own, so that the end of our terminal is not its end, with the
/// default signals. It reads nothing, its errors go nowhere, its output to `output` or, if that is empty, nowhere
/// either. Of our other descriptors it has those of `succession`, if there is one. The caller waits for its end.
Result<ProcessIdentifier> spawnProcess(const std::string& tool, const std::vector<std::string>& arguments,
                                       const Descriptor& output, const Succession* succession = nullptr);

}  // namespace tandemview
