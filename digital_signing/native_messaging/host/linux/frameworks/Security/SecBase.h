#pragma once

#include <CoreFoundation/CoreFoundation.h>

extern "C" {

typedef struct OpaqueSecCertificateRef* SecCertificateRef;
typedef struct OpaqueSecKeyRef* SecKeyRef;
typedef struct OpaqueSecIdentityRef* SecIdentityRef;

/** The statuses that functions of this layer return. */
enum {
  errSecSuccess = 0,
  errSecParam = -50,
  errSecWrPerm = -61,
  errSecAllocate = -108,
  errSecUserCanceled = -128,
  errSecInternalComponent = -2070,
  errSecNotAvailable = -25291,
  errSecAuthFailed = -25293,
  errSecItemNotFound = -25300,
  errSecInvalidItemRef = -25304,
  errSecInteractionNotAllowed = -25308,
  errSecInternal = -26276,
  errSecInternalError = -67671,
};

/**
 * A text for people about the failure that a function of this thread returned as `status` last, with NSS's
 * own name of the error where NSS failed; the caller releases it. Null when there is nothing to tell.
 *
 * @param reserved null.
 */
CFStringRef SecCopyErrorMessageString(OSStatus status, void* reserved);
}
