#import "platform/macos/MacVirtualDisplayClasses.h"

#import "platform/macos/FoundationString.h"

namespace tandemview {

namespace {

Class classNamed(const std::string& name) {
  const Class found = NSClassFromString(foundationString(name));
  return [found isSubclassOfClass:NSObject.class] ? found : nil;
}

}  // namespace

MacVirtualDisplayClasses::MacVirtualDisplayClasses(const std::string& name)
    : display(classNamed(name)),
      descriptor(classNamed(name + "Descriptor")),
      settings(classNamed(name + "Settings")),
      mode(classNamed(name + "Mode")) {}

}  // namespace tandemview
