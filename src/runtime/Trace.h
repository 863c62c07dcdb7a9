#pragma once

#include "runtime/Data.h"

namespace tandemview {

/// The moments of each picture's way through the program, written to a file for the measurements. Off until start():
/// each mark is then the test of a flag. Marks may come from any thread.
class Trace {
 public:
  enum class Step { damageTold, grabBegun, grabbed, encoded, handedOver, written };

  /// Called before other threads are started. False if the file can't be written.
  static bool start(const char* path);

  /// What a frame's marks are known by: its timestamp. 0 while the trace is off.
  static double nameOf(const Data& frame) { return isOn_ ? timestampOf(frame) : 0; }

  /// One that precedes the frame needs no name: pictures are taken one after the other.
  static void mark(Step step, double frame = 0) {
    if (isOn_) write(step, frame);
  }

 private:
  static double timestampOf(const Data& frame);
  static void write(Step step, double frame);

  inline static bool isOn_ = false;
};

}  // namespace tandemview
