#pragma once

/** The part of Foundation that the entry point calls, with the types that macOS has there. */
#include <CoreFoundation/CoreFoundation.h>

#define nil nullptr

typedef unsigned long NSUInteger;
typedef double NSTimeInterval;

__attribute__((objc_root_class))
@interface NSObject
+ (instancetype)alloc;
- (instancetype)init;
- (instancetype)retain;
- (oneway void)release;
@end

@class NSOperationQueue;

@interface NSString : NSObject
@end

@interface NSException : NSObject
@end

@interface NSNotification : NSObject
@end

@interface NSAutoreleasePool : NSObject
- (void)drain;
@end

@interface NSDate : NSObject
+ (instancetype)dateWithTimeIntervalSinceNow:(NSTimeInterval)seconds;
@end

@interface NSRunLoop : NSObject
@property(class, readonly, strong) NSRunLoop* _Nonnull mainRunLoop;
- (void)runUntilDate:(NSDate* _Nonnull)limit;
@end

@interface NSData : NSObject
+ (instancetype _Nonnull)data;
+ (instancetype _Nonnull)dataWithBytes:(const void* _Nullable)bytes length:(NSUInteger)length;
@property(readonly) NSUInteger length;
@property(readonly) const void* _Nonnull bytes;
@end

@interface NSFileHandle : NSObject
- (instancetype _Nonnull)initWithFileDescriptor:(int)descriptor;
@property(readonly, copy) NSData* _Nonnull availableData;
- (void)writeData:(NSData* _Nonnull)data;
- (void)waitForDataInBackgroundAndNotify;
@end

extern "C" NSString* _Nonnull const NSFileHandleDataAvailableNotification;

@interface NSNotificationCenter : NSObject
@property(class, readonly, strong) NSNotificationCenter* _Nonnull defaultCenter;
- (id _Nonnull)addObserverForName:(NSString* _Nullable)name
                           object:(id _Nullable)object
                            queue:(NSOperationQueue* _Nullable)queue
                       usingBlock:(void (^_Nonnull)(NSNotification* _Nonnull notification))block;
- (void)removeObserver:(id _Nonnull)observer;
@end
