#pragma once

#include <stdint.h>

/**
 * The types of macOS's framework, and what their objects answer to. Names, values and rules are those of the
 * macOS framework; only what the host calls is declared. Who calls a Create or Copy function owns what it
 * returns and releases it; what a Get function returns stays with the object it was taken from.
 *
 * A null or foreign reference makes a function return null, 0 or false, unless its contract says otherwise.
 * Lack of memory makes Create and Copy functions return null. No C++ exception comes out of any function.
 */
extern "C" {

typedef unsigned char Boolean;
typedef unsigned char UInt8;
typedef uint32_t UInt32;
typedef int32_t SInt32;
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

typedef UInt32 CFStringEncoding;

/** The one encoding that there is: a function fails when asked for another. */
enum : CFStringEncoding { kCFStringEncodingUTF8 = 0x08000100 };

typedef CFOptionFlags CFStringCompareFlags;

enum : CFStringCompareFlags { kCFCompareCaseInsensitive = 1 };

/** A constant text from a literal. It lives for the process; equal literals give one object. */
#define CFSTR(literal) __CFStringMakeConstantString("" literal "")
CFStringRef __CFStringMakeConstantString(const char* literal);  // NOLINT(bugprone-reserved-identifier)

CFTypeID CFStringGetTypeID(void);

/** `count` bytes as a text; null when they are not valid UTF-8. A byte order mark is a character like any
 * other: `isExternalRepresentation` must be false. */
CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation);

/** The length in UTF-16 code units. */
CFIndex CFStringGetLength(CFStringRef string);

/** Writes the text and a zero byte into `buffer`. False when the buffer is too small; it then holds what
 * fits, in whole characters, zero-ended too. */
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex bufferSize, CFStringEncoding encoding);

/** The text inside the object, valid as long as the object. Null whenever the text is not all ASCII: callers
 * need CFStringGetCString for that case. */
const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding);

/** Bytes that `length` UTF-16 units need at most, without a zero byte; kCFNotFound when that overflows. */
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);

/** Order by code point, without normalisation. kCFCompareCaseInsensitive ignores the case of ASCII letters.
 */
CFComparisonResult CFStringCompare(CFStringRef first, CFStringRef second, CFStringCompareFlags flags);

typedef const struct OpaqueCFData* CFDataRef;

CFTypeID CFDataGetTypeID(void);

/** A copy of `length` bytes. Null for a negative length, and for null bytes with a length above 0. */
CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);

CFIndex CFDataGetLength(CFDataRef data);

/** The bytes inside the object, valid as long as the object. */
const UInt8* CFDataGetBytePtr(CFDataRef data);

/** Copies the bytes of `range` into `buffer`; nothing when the range does not lie within the data. */
void CFDataGetBytes(CFDataRef data, CFRange range, UInt8* buffer);

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

/** Writes the number to `value`, a C variable of the named type, as a C cast converts it; true only if
 * nothing is lost. A number beyond an integer type gives the nearest end of the type's range, and 0 if it
 * is not a number. */
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

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

typedef const struct OpaqueCFDictionary* CFDictionaryRef;
typedef struct OpaqueCFDictionaryKeyCallBacks CFDictionaryKeyCallBacks;
typedef struct OpaqueCFDictionaryValueCallBacks CFDictionaryValueCallBacks;

CFTypeID CFDictionaryGetTypeID(void);

/** A dictionary of `count` pairs; of pairs with equal keys the first is kept. The callbacks must be null: the
 * dictionary neither retains nor releases, compares keys by address, and what it holds must outlive it. */
CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values,
                                   CFIndex count, const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks);

/** The value, which stays with the dictionary; null when there is none. */
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);

typedef struct OpaqueCFError* CFErrorRef;

CFIndex CFErrorGetCode(CFErrorRef error);

/** A text for people, in English: that the operation could not be completed, with the error's domain, code
 * and description. */
CFStringRef CFErrorCopyDescription(CFErrorRef error);

/** Null, or a word of the failure's reason under "VORNErrorReason", where one is known. The caller releases
 * it. */
CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef error);

typedef double CFTimeInterval;

/** Seconds since 2001-01-01 00:00:00 UTC. */
typedef CFTimeInterval CFAbsoluteTime;

/** 1970-01-01 to 2001-01-01 in seconds: add it to an absolute time for Unix time. */
extern const CFTimeInterval kCFAbsoluteTimeIntervalSince1970;

CFAbsoluteTime CFAbsoluteTimeGetCurrent(void);

typedef const struct OpaqueCFLocale* CFLocaleRef;
typedef struct OpaqueCFDateFormatter* CFDateFormatterRef;

enum CFDateFormatterStyle : CFIndex { kCFDateFormatterShortStyle = 1 };

/** A formatter for the local time zone as it is now (TZ, else the system's). `locale` must be null; null
 * comes back otherwise. The styles stand for formats of the locale, which are not supplied here: set a format
 * before use. */
CFDateFormatterRef CFDateFormatterCreate(CFAllocatorRef allocator, CFLocaleRef locale,
                                         CFDateFormatterStyle dateStyle, CFDateFormatterStyle timeStyle);

/** Sets the pattern: the fields yyyy, MM, dd, HH, mm and ss, text in apostrophes, and anything that is not a
 * letter as it is. */
void CFDateFormatterSetFormat(CFDateFormatterRef formatter, CFStringRef format);

/** The time in the formatter's pattern, as the local clock and the Gregorian calendar show it; a year has
 * four digits or more. Parts of a second are dropped, but from .9995 on they carry. Null when no format was
 * set, the format has another field, or the time has no date. */
CFStringRef CFDateFormatterCreateStringWithAbsoluteTime(CFAllocatorRef allocator,
                                                        CFDateFormatterRef formatter, CFAbsoluteTime time);
}
