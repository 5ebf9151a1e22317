#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Security/SecBase.h>

extern "C" {

/** Entries of a property: a dictionary that describes one item of a certificate. Not every one has each. */
extern const CFStringRef kSecPropertyKeyType;
extern const CFStringRef kSecPropertyKeyLabel;
extern const CFStringRef kSecPropertyKeyValue;

/** What kSecPropertyKeyType holds for a property that is CFData. */
extern const CFStringRef kSecPropertyTypeData;

/** The certificate that the DER bytes are; the caller releases it. Null when they are none. */
SecCertificateRef SecCertificateCreateWithData(CFAllocatorRef allocator, CFDataRef data);

/** The certificate's DER bytes; the caller releases them. Null when `certificate` is none. */
CFDataRef SecCertificateCopyData(SecCertificateRef certificate);

/**
 * The last common name of the subject.
 *
 * @param commonName set to the name; the caller releases it. Null when there is none.
 * @return errSecParam when `certificate` is none; errSecInternal when there is no name.
 */
OSStatus SecCertificateCopyCommonName(SecCertificateRef certificate, CFStringRef* commonName);

/**
 * The RFC 822 names of the subject alternative name, then the e-mail attributes of the subject, in encoded
 * order, duplicates kept.
 *
 * @param emailAddresses set to an array of CFString, empty when there is none; the caller releases it.
 * @return errSecParam when `certificate` is none.
 */
OSStatus SecCertificateCopyEmailAddresses(SecCertificateRef certificate, CFArrayRef* emailAddresses);

/**
 * The properties that `keys` names: object identifiers in dotted form, those of SecCertificateOIDs.h
 * and any extension's.
 *
 * @param error must be null: there is no failure to tell of but the one below.
 * @return a dictionary from key to property; keys that the certificate does not have are missing. The caller
 *         releases it. Null when `certificate` is none.
 */
CFDictionaryRef SecCertificateCopyValues(SecCertificateRef certificate, CFArrayRef keys, CFErrorRef* error);

/**
 * @param key set to the certificate's public key; the caller releases it.
 * @return errSecInvalidItemRef when `certificate` is none.
 */
OSStatus SecCertificateCopyPublicKey(SecCertificateRef certificate, SecKeyRef* key);
}
