#pragma once

#include "CoreFoundation/CFBase.h"
#include "CoreFoundation/CFDictionary.h"

extern "C" {

typedef struct OpaqueCFError* CFErrorRef;
typedef CFStringRef CFErrorDomain;

extern const CFErrorDomain kCFErrorDomainPOSIX;
extern const CFErrorDomain kCFErrorDomainOSStatus;
extern const CFErrorDomain kCFErrorDomainMach;
extern const CFErrorDomain kCFErrorDomainCocoa;

/** Keys of an error's user information; their values are texts. */
extern const CFStringRef kCFErrorLocalizedDescriptionKey;
extern const CFStringRef kCFErrorLocalizedFailureKey;
extern const CFStringRef kCFErrorLocalizedFailureReasonKey;
extern const CFStringRef kCFErrorDescriptionKey;

CFTypeID CFErrorGetTypeID(void);

/** An error of a domain, with user information or null; both are retained. Null without a domain. */
CFErrorRef CFErrorCreate(CFAllocatorRef allocator, CFErrorDomain domain, CFIndex code,
                         CFDictionaryRef userInfo);

/** The domain, which stays with the error. */
CFErrorDomain CFErrorGetDomain(CFErrorRef error);

CFIndex CFErrorGetCode(CFErrorRef error);

/**
 * A text for people, in English. The first of these that the user information allows: the localised
 * description as it is; the localised failure, with the reason behind it; "The operation couldn’t be
 * completed. " with the reason; the same with domain, code and description, or with domain and code alone.
 * For POSIX errors the system's text is the reason where none is given.
 */
CFStringRef CFErrorCopyDescription(CFErrorRef error);
}
