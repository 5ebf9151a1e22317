#pragma once

#include <stdint.h>

/**
 * Basic types, and what every object answers to. Names, values and rules are those of the macOS framework;
 * only what the host calls is declared. Who calls a Create or Copy function owns what it returns and releases
 * it; what a Get function returns stays with the object it was taken from.
 *
 * A null or foreign reference makes a function return null, 0 or false, unless its contract says otherwise.
 * Lack of memory makes Create and Copy functions return null. No C++ exception comes out of any function.
 */
extern "C" {

typedef unsigned char Boolean;
typedef unsigned char UInt8;
typedef int16_t SInt16;
typedef uint32_t UInt32;
typedef int32_t SInt32;
typedef SInt16 OSErr;
typedef SInt32 OSStatus;

typedef long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;

typedef const void* CFTypeRef;
typedef const struct OpaqueCFAllocator* CFAllocatorRef;
typedef const struct OpaqueCFString* CFStringRef;

typedef struct {
  CFIndex location;
  CFIndex length;
} CFRange;

inline CFRange CFRangeMake(CFIndex location, CFIndex length) {
  return CFRange{location, length};
}

enum : CFIndex { kCFNotFound = -1 };

enum CFComparisonResult : CFIndex {
  kCFCompareLessThan = -1,
  kCFCompareEqualTo = 0,
  kCFCompareGreaterThan = 1
};

/** Null, as on macOS. Objects come from the C++ heap; no function looks at its allocator argument. */
extern const CFAllocatorRef kCFAllocatorDefault;

/** Adds a reference and returns `object`. Null ends the process. */
CFTypeRef CFRetain(CFTypeRef object);

/** Drops a reference; the object goes with its last one. Null ends the process. */
void CFRelease(CFTypeRef object);

/** The type of an object: compare it with the XGetTypeID() functions. 0 for null. */
CFTypeID CFGetTypeID(CFTypeRef object);

/** Whether both are texts and alike, or one and the same object. */
Boolean CFEqual(CFTypeRef first, CFTypeRef second);
}
