#pragma once

#include "CoreFoundation/CFBase.h"

extern "C" {

typedef const struct OpaqueCFData* CFDataRef;

CFTypeID CFDataGetTypeID(void);

/** A copy of `length` bytes. Null for a negative length, and for null bytes with a length above 0. */
CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);

CFIndex CFDataGetLength(CFDataRef data);

/** The bytes inside the object, valid as long as the object. */
const UInt8* CFDataGetBytePtr(CFDataRef data);

/** Copies the bytes of `range` into `buffer`; nothing when the range does not lie within the data. */
void CFDataGetBytes(CFDataRef data, CFRange range, UInt8* buffer);
}
