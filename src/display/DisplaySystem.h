#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runtime/Queue.h"
#include "screens/Screens.h"

namespace tandemview {

/// What a virtual display claims to be.
struct VirtualDisplayDescriptor {
  std::shared_ptr<Queue> queue;  // where the system's callbacks for the display arrive
  std::string name;
  std::int64_t maxPixelsWide = 0;
  std::int64_t maxPixelsHigh = 0;
  double widthInMillimeters = 0;
  double heightInMillimeters = 0;
  std::uint32_t vendorID = 0;
  std::uint32_t productID = 0;
  std::uint32_t serialNum = 0;
};

/// A mode that a virtual display shall offer. Sizes in pixels, refresh rate in hertz.
struct VirtualDisplayMode {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  double refreshRate = 0;
};

/// What applySettings() makes of a virtual display. No modes: the display goes away.
struct VirtualDisplaySettings {
  std::vector<VirtualDisplayMode> modes;
  bool hiDPI = false;
};

enum class ApplyOutcome {
  Applied,
  Refused,      // the system said no
  NotOffered,   // the display has no such operation
  Unreachable,  // it claims the operation but the operation can't be found
};

/// A display that exists in software only. Letting go of it removes it. Operations may be called from any thread,
/// one at a time.
class VirtualDisplay {
 public:
  virtual ~VirtualDisplay() = default;

  /// Absent until the system has assigned one, and again when the display has been removed.
  virtual std::optional<DisplayID> displayID() const = 0;

  /// Whether the display is not there because the user has locked the screen, and comes by itself when he unlocks it.
  /// That this has ended, either way, is told as a change of the arrangement.
  virtual bool isWithheld() const = 0;

  virtual ApplyOutcome applySettings(const VirtualDisplaySettings& settings) = 0;

  /// Whether the display offers the operation below. Not every system's displays do.
  virtual bool canTerminate() const = 0;
  virtual void terminate() = 0;
  virtual bool canInvalidate() const = 0;
  virtual void invalidate() = 0;
};

enum class CreationOutcome {
  Created,
  NotAllocated,     // no memory for a display object
  NoInitializer,    // display objects can't be made from a descriptor
  NothingReturned,  // the system made no display
};

struct VirtualDisplayCreation {
  CreationOutcome outcome = CreationOutcome::NothingReturned;
  std::shared_ptr<VirtualDisplay> display;  // present exactly when created
};

/// A mode that the system offers for a display.
struct DisplayMode {
  std::int64_t width = 0;  // in the units of ScreenRectangle
  std::int64_t height = 0;
  std::uint64_t handle = 0;  // the adapter's own name for it, valid until the display's modes change
};

enum class ConfigurationOutcome {
  Completed,
  NotBegun,      // the system lets nobody rearrange displays now
  NotCompleted,  // it refused this change
};

/// What the program needs of the system's displays. Operations may be called from any thread.
class DisplaySystem {
 public:
  virtual ~DisplaySystem() = default;

  /// The classes that virtual displays are made of. The system may lack some of them (too old, no spare output).
  virtual bool hasDescriptorClass() const = 0;
  virtual bool hasDisplayClass() const = 0;
  virtual bool hasSettingsClass() const = 0;
  virtual bool hasModeClass() const = 0;

  /// Makes a display that shows nothing until settings are applied to it.
  virtual VirtualDisplayCreation makeVirtualDisplay(const VirtualDisplayDescriptor& descriptor) = 0;

  /// A mode for applySettings(); absent if the system can't express it.
  virtual std::optional<VirtualDisplayMode> makeDisplayMode(std::uint32_t width, std::uint32_t height,
                                                            double refreshRate) = 0;

  virtual bool isBuiltIn(DisplayID display) const = 0;
  virtual std::optional<DisplayMode> currentMode(DisplayID display) const = 0;

  /// Every mode, also those that differ in nothing but their backing scale.
  virtual std::vector<DisplayMode> allModes(DisplayID display) const = 0;

  /// Rearrangements for this login session; nothing of them outlives it.
  virtual ConfigurationOutcome configureMode(DisplayID display, const DisplayMode& mode) = 0;
  virtual ConfigurationOutcome configureOrigin(DisplayID display, std::int32_t x, std::int32_t y) = 0;

  /// The least x at which a screen may lie; minus infinity where there is none.
  virtual double leftEdge() const = 0;

  /// Calls `changed` on `queue` some time after displays have come, gone, moved or changed their size, or are no longer
  /// withheld; several changes may be told as one. Called once, on `queue`.
  virtual void onArrangementChange(const std::shared_ptr<Queue>& queue, std::function<void()> changed) = 0;

  /// Keeps the calling thread waiting (the pause after a display was removed).
  virtual void pause(double seconds) = 0;
};

}  // namespace tandemview
