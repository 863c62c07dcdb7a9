#import "platform/macos/StandInVirtualDisplay.h"

@implementation StandInVirtualDisplayDescriptor
@end

@implementation StandInVirtualDisplayMode
- (instancetype)initWithWidth:(unsigned int)width height:(unsigned int)height refreshRate:(double)refreshRate {
  self = [super init];
  if (!self || width == 0) return nil;
  _width = width;
  _height = height;
  _refreshRate = refreshRate;
  return self;
}
@end

@implementation StandInVirtualDisplaySettings
@end

static __weak StandInVirtualDisplay* lastDisplay;

@implementation StandInVirtualDisplay

+ (StandInVirtualDisplay*)last {
  return lastDisplay;
}

- (instancetype)initWithDescriptor:(StandInVirtualDisplayDescriptor*)descriptor {
  self = [super init];
  if (!self || descriptor.maxPixelsWide == 0) return nil;
  _descriptor = descriptor;
  lastDisplay = self;
  return self;
}

- (void)throwIfAsked {
  if ([_descriptor.name isEqualToString:@"throws"]) [NSException raise:NSGenericException format:@"as asked"];
}

- (unsigned int)displayID {
  [self throwIfAsked];
  return _settings ? 42 : 0;
}

- (BOOL)applySettings:(StandInVirtualDisplaySettings*)settings {
  [self throwIfAsked];
  _settings = settings;
  return settings.modes.count > 0;
}

- (void)terminate {
  [self throwIfAsked];
  _isTerminated = YES;
}

@end
