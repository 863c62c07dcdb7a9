#pragma once

namespace tandemview {

/// Opens the null device for each of standard input, output and error that the process was started without. Otherwise
/// the next socket would get its number, and be written to by whatever prints. Called before anything else is opened.
void openStandardDescriptors();

}  // namespace tandemview
