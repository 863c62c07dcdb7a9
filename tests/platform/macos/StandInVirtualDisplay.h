#pragma once

#import <Foundation/Foundation.h>

/// Stand-ins for the system's private classes, under names of their own: what a display is told can be read back.

@interface StandInVirtualDisplayDescriptor : NSObject
@property dispatch_queue_t queue;
@property(copy) NSString* name;
@property unsigned int maxPixelsWide;
@property unsigned int maxPixelsHigh;
@property NSSize sizeInMillimeters;
@property unsigned int vendorID;
@property unsigned int productID;
@property unsigned int serialNum;
@end

@interface StandInVirtualDisplayMode : NSObject
@property(readonly) unsigned int width;
@property(readonly) unsigned int height;
@property(readonly) double refreshRate;
- (instancetype)initWithWidth:(unsigned int)width height:(unsigned int)height refreshRate:(double)refreshRate;
@end

@interface StandInVirtualDisplaySettings : NSObject
@property(copy) NSArray<StandInVirtualDisplayMode*>* modes;
@property unsigned int hiDPI;
@end

/// Its name decides what it does: one named "throws" throws whatever it is asked.
@interface StandInVirtualDisplay : NSObject
@property(readonly) unsigned int displayID;
- (instancetype)initWithDescriptor:(StandInVirtualDisplayDescriptor*)descriptor;
- (BOOL)applySettings:(StandInVirtualDisplaySettings*)settings;
- (void)terminate;

/// The one that was made last, as long as somebody keeps it.
@property(class, readonly) StandInVirtualDisplay* last;
@property(readonly) StandInVirtualDisplayDescriptor* descriptor;
@property(readonly) StandInVirtualDisplaySettings* settings;
@property(readonly) BOOL isTerminated;
@end
