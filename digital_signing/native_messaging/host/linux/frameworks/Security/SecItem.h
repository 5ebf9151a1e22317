#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Security/SecBase.h>

extern "C" {

extern const CFStringRef kSecClass;
extern const CFStringRef kSecClassIdentity;
extern const CFStringRef kSecAttrCanSign;
/** The text that the last common name of the certificate's subject must equal, code unit by code unit. */
extern const CFStringRef kSecMatchSubjectWholeString;
/** kSecMatchLimitAll is the one limit that there is. */
extern const CFStringRef kSecMatchLimit;
extern const CFStringRef kSecMatchLimitAll;
extern const CFStringRef kSecReturnRef;

/**
 * Finds identities; the only class that can be asked for is kSecClassIdentity.
 *
 * The key database is opened, read-only, by the first call that finds one, and stays open for the life of the
 * process. Validity and trust of certificates are not looked at. Nobody is ever asked for a password: an
 * identity that a password protects is found, and it is using its key that fails.
 *
 * @param result set to a CFArray of SecIdentityRef, which the caller releases; null on failure.
 * @return errSecItemNotFound when nothing matches, which includes that there is no database; errSecParam for
 * another class or limit.
 */
OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef* result);
}
