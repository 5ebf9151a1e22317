#pragma once

#include "CoreFoundation/CFBase.h"

extern "C" {

typedef const struct OpaqueCFArray* CFArrayRef;
typedef struct OpaqueCFArrayCallBacks CFArrayCallBacks;

/** For elements that are objects: the array retains them. */
extern const CFArrayCallBacks kCFTypeArrayCallBacks;

CFTypeID CFArrayGetTypeID(void);

/** An array of the `count` elements at `values`, which must be objects; `callBacks`
 * must be &kCFTypeArrayCallBacks. */
CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex count,
                         const CFArrayCallBacks* callBacks);

CFIndex CFArrayGetCount(CFArrayRef array);

/** The element, which stays with the array; null outside the array. */
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);
}
