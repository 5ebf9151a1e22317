#pragma once

#include "CoreFoundation/CFBase.h"

extern "C" {

typedef const struct OpaqueCFBoolean* CFBooleanRef;
typedef const struct OpaqueCFNumber* CFNumberRef;

extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;

CFTypeID CFBooleanGetTypeID(void);
Boolean CFBooleanGetValue(CFBooleanRef boolean);

enum CFNumberType : CFIndex {
  kCFNumberSInt8Type = 1,
  kCFNumberSInt16Type = 2,
  kCFNumberSInt32Type = 3,
  kCFNumberSInt64Type = 4,
  kCFNumberFloat32Type = 5,
  kCFNumberFloat64Type = 6,
  kCFNumberCharType = 7,
  kCFNumberShortType = 8,
  kCFNumberIntType = 9,
  kCFNumberLongType = 10,
  kCFNumberLongLongType = 11,
  kCFNumberFloatType = 12,
  kCFNumberDoubleType = 13,
  kCFNumberCFIndexType = 14,
  kCFNumberNSIntegerType = 15,
  kCFNumberCGFloatType = 16,
};

CFTypeID CFNumberGetTypeID(void);

/** The number at `value`, a C variable of the named type. */
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value);

/**
 * Writes the number to `value`, a C variable of the named type, as a C cast converts it; true only if nothing
 * is lost. It is written either way. A floating-point number beyond an integer type gives the nearest end of
 * the type's range, and 0 if it is not a number.
 */
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);
}
