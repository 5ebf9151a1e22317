#pragma once

#include <CoreFoundation/CoreFoundation.h>

extern "C" {

/** Keys of SecCertificateCopyValues, and labels of the attributes of names. */
extern const CFStringRef kSecOIDAuthorityKeyIdentifier;
extern const CFStringRef kSecOIDCommonName;
extern const CFStringRef kSecOIDKeyUsage;
extern const CFStringRef kSecOIDX509V1IssuerName;
extern const CFStringRef kSecOIDX509V1SerialNumber;
extern const CFStringRef kSecOIDX509V1ValidityNotAfter;
extern const CFStringRef kSecOIDX509V1ValidityNotBefore;
}
