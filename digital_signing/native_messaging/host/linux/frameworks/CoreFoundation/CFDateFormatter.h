#pragma once

#include "CoreFoundation/CFBase.h"
#include "CoreFoundation/CFDate.h"

extern "C" {

typedef const struct OpaqueCFLocale* CFLocaleRef;
typedef struct OpaqueCFDateFormatter* CFDateFormatterRef;

enum CFDateFormatterStyle : CFIndex { kCFDateFormatterShortStyle = 1 };

/**
 * A formatter for the local time zone as it is now (TZ, else the system's). `locale` must be null; null comes
 * back otherwise. The styles stand for formats of the locale, which are not supplied here: set a format
 * before use.
 */
CFDateFormatterRef CFDateFormatterCreate(CFAllocatorRef allocator, CFLocaleRef locale,
                                         CFDateFormatterStyle dateStyle, CFDateFormatterStyle timeStyle);

/**
 * Sets the pattern: the fields yyyy, MM, dd, HH, mm and ss, text in apostrophes, and anything that is not a
 * letter as it is.
 */
void CFDateFormatterSetFormat(CFDateFormatterRef formatter, CFStringRef format);

/**
 * The time in the formatter's pattern, as the local clock and the Gregorian calendar show it; a year has four
 * digits or more. Parts of a second are dropped, but from .9995 on they carry. Null when no format was set,
 * the format has another field, or the time has no date.
 */
CFStringRef CFDateFormatterCreateStringWithAbsoluteTime(CFAllocatorRef allocator,
                                                        CFDateFormatterRef formatter, CFAbsoluteTime time);
}
