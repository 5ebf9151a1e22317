#pragma once

#include "CoreFoundation/CFBase.h"

extern "C" {

typedef UInt32 CFStringEncoding;

/** The one encoding that there is: a function fails when asked for another. */
enum : CFStringEncoding { kCFStringEncodingUTF8 = 0x08000100 };

typedef CFOptionFlags CFStringCompareFlags;

enum : CFStringCompareFlags { kCFCompareCaseInsensitive = 1 };

/** A constant text from a literal. It lives for the process; equal literals give one object. */
#define CFSTR(literal) __CFStringMakeConstantString("" literal "")
CFStringRef __CFStringMakeConstantString(const char* literal);  // NOLINT(bugprone-reserved-identifier)

CFTypeID CFStringGetTypeID(void);

/**
 * `count` bytes as a text; null when they are not valid UTF-8. A byte order mark is a character like any
 * other: `isExternalRepresentation` must be false.
 */
CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation);

/** The length in UTF-16 code units. */
CFIndex CFStringGetLength(CFStringRef string);

/**
 * Writes the text and a zero byte into `buffer`. False when the buffer is too small; it then holds what fits,
 * in whole characters, zero-ended too.
 */
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex bufferSize, CFStringEncoding encoding);

/**
 * The text inside the object, valid as long as the object. Null whenever the text is not all ASCII: callers
 * need CFStringGetCString for that case.
 */
const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding);

/** Bytes that `length` UTF-16 units need at most, without a zero byte; kCFNotFound when that overflows. */
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);

/** Order by code point, without normalisation. kCFCompareCaseInsensitive ignores the case of ASCII letters.
 */
CFComparisonResult CFStringCompare(CFStringRef first, CFStringRef second, CFStringCompareFlags flags);
}
