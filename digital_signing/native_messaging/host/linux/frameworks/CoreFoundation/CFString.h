#pragma once

#include "CoreFoundation/CFBase.h"

extern "C" {

typedef UInt32 CFStringEncoding;

enum : CFStringEncoding {
  kCFStringEncodingUTF16 = 0x0100,
  kCFStringEncodingISOLatin1 = 0x0201,
  kCFStringEncodingASCII = 0x0600,
  kCFStringEncodingUTF8 = 0x08000100,
};

typedef CFOptionFlags CFStringCompareFlags;

enum : CFStringCompareFlags {
  kCFCompareCaseInsensitive = 1,
};

/** A constant text from a literal (UTF-8). It lives for the process; equal literals may give one object. */
#define CFSTR(literal) __CFStringMakeConstantString("" literal "")
CFStringRef __CFStringMakeConstantString(const char* literal);  // NOLINT(bugprone-reserved-identifier)

CFTypeID CFStringGetTypeID(void);

/** The zero-ended `text` decoded as `encoding` (not UTF-16); null when it does not decode. */
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding);

/**
 * `count` bytes decoded as `encoding`; null when they do not decode or the encoding is none of the four
 * above. UTF-8 is read strictly. ASCII bytes above 0x7F are read as ISO Latin-1. UTF-16 is in the machine's
 * byte order, or, with `isExternalRepresentation`, in that of its byte order mark and big-endian without one.
 * A byte order mark is left out of the text only when `isExternalRepresentation` is set.
 */
CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation);

/** The length in UTF-16 code units. */
CFIndex CFStringGetLength(CFStringRef string);

/**
 * Writes the text as `encoding` (not UTF-16) and a zero byte into `buffer`. False when a character has no
 * form in the encoding or the buffer is too small; the buffer then holds what came before, in whole
 * characters, zero-ended too.
 */
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex bufferSize, CFStringEncoding encoding);

/**
 * The text inside the object, valid as long as the object. Null whenever the text is not all ASCII or
 * `encoding` is not a superset of ASCII: callers need CFStringGetCString for that case.
 */
const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding);

/** Bytes that `length` UTF-16 units need at most, without a zero byte; kCFNotFound when that overflows. */
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);

/**
 * Order by UTF-16 code unit, without normalisation. kCFCompareCaseInsensitive ignores the case of ASCII
 * letters. What is not a string comes before every string.
 */
CFComparisonResult CFStringCompare(CFStringRef first, CFStringRef second, CFStringCompareFlags flags);
}
