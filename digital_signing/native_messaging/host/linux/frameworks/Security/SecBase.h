#pragma once

#include <CoreFoundation/CFBase.h>

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
}
