#pragma once

#include "CoreFoundation/CFBase.h"

extern "C" {

typedef const struct OpaqueCFBoolean* CFBooleanRef;
typedef const struct OpaqueCFNumber* CFNumberRef;

extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;

enum CFNumberType : CFIndex {
  kCFNumberIntType = 9,
  kCFNumberLongType = 10,
  kCFNumberDoubleType = 13,
};

CFTypeID CFNumberGetTypeID(void);

/** The number at `value`, a C variable of the named type. */
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value);

/**
 * Writes the number to `value`, a C variable of the named type, as a C cast converts it; true only if
 * nothing is lost. A number beyond an integer type gives the nearest end of the type's range, and 0 if it
 * is not a number.
 */
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);
}
