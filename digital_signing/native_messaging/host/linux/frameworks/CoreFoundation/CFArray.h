#pragma once

#include "CoreFoundation/CFBase.h"

extern "C" {

typedef const struct OpaqueCFArray* CFArrayRef;

typedef const void* (*CFArrayRetainCallBack)(CFAllocatorRef allocator, const void* value);
typedef void (*CFArrayReleaseCallBack)(CFAllocatorRef allocator, const void* value);
typedef CFStringRef (*CFArrayCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFArrayEqualCallBack)(const void* first, const void* second);

/** Any function may be null: no retaining, no releasing, equality by address. Descriptions are never asked
 * for. */
typedef struct {
  CFIndex version;
  CFArrayRetainCallBack retain;
  CFArrayReleaseCallBack release;
  CFArrayCopyDescriptionCallBack copyDescription;
  CFArrayEqualCallBack equal;
} CFArrayCallBacks;

/** For elements that are objects: CFRetain, CFRelease and CFEqual. */
extern const CFArrayCallBacks kCFTypeArrayCallBacks;

CFTypeID CFArrayGetTypeID(void);

/** An array of the `count` elements at `values`, which `callBacks` retains; null callbacks are all null
 * functions. */
CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex count,
                         const CFArrayCallBacks* callBacks);

CFIndex CFArrayGetCount(CFArrayRef array);

/** The element, which stays with the array; null outside the array. */
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);
}
