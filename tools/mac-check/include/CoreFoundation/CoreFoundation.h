#pragma once

/** What the host for Linux has of Core Foundation, and the calls that only the one for macOS makes. */
#include_next <CoreFoundation/CoreFoundation.h>

extern "C" {

typedef const struct __CFURL* CFURLRef;
typedef struct __CFBundle* CFBundleRef;

CFBundleRef CFBundleGetMainBundle(void);
CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle);
Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                         CFIndex maximumLength);
}
