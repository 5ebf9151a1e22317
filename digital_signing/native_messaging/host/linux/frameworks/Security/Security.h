#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <stddef.h>
#include <stdint.h>

/** The types of macOS's framework, and what their objects answer to: the part that the host calls, with its
 * names, values and rules. Ownership, null and foreign references and lack of memory are as in
 * CoreFoundation.h. (macOS has the transforms in this header for compilers with blocks only, which those for
 * it are.) */
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

// The search.

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

/** @param certificate set to the identity's certificate; the caller releases it.
 * @return errSecParam when `identity` is none. */
OSStatus SecIdentityCopyCertificate(SecIdentityRef identity, SecCertificateRef* certificate);

/**
 * Asks for no password and checks no access: that happens when the key is used.
 *
 * @param privateKey set to the identity's private key; the caller releases it.
 * @return errSecInvalidItemRef when `identity` is none.
 */
OSStatus SecIdentityCopyPrivateKey(SecIdentityRef identity, SecKeyRef* privateKey);

// Certificates and their keys.

/** Entries of a property: a dictionary that describes one item of a certificate. Not every one has each. */
extern const CFStringRef kSecPropertyKeyType;
extern const CFStringRef kSecPropertyKeyLabel;
extern const CFStringRef kSecPropertyKeyValue;

/** What kSecPropertyKeyType holds for a property that is CFData. */
extern const CFStringRef kSecPropertyTypeData;

/** Keys of SecCertificateCopyValues, and labels of the attributes of names. */
extern const CFStringRef kSecOIDAuthorityKeyIdentifier;
extern const CFStringRef kSecOIDCommonName;
extern const CFStringRef kSecOIDKeyUsage;
extern const CFStringRef kSecOIDX509V1IssuerName;
extern const CFStringRef kSecOIDX509V1SerialNumber;
extern const CFStringRef kSecOIDX509V1ValidityNotAfter;
extern const CFStringRef kSecOIDX509V1ValidityNotBefore;

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
 * The properties that `keys` names: object identifiers in dotted form, the kSecOID... and any extension's.
 *
 * @param error must be null: there is no failure to tell of but the one below.
 * @return a dictionary from key to property; keys that the certificate does not have are missing. The caller
 *         releases it. Null when `certificate` is none.
 */
CFDictionaryRef SecCertificateCopyValues(SecCertificateRef certificate, CFArrayRef keys, CFErrorRef* error);

/** @param key set to the certificate's public key; the caller releases it.
 * @return errSecInvalidItemRef when `certificate` is none. */
OSStatus SecCertificateCopyPublicKey(SecCertificateRef certificate, SecKeyRef* key);

/** The part of the Common Security Services Manager's types that holds the bytes of a public key. */
typedef struct cssm_data {
  size_t Length; /* in bytes */
  uint8_t* Data;
} CSSM_DATA;

typedef struct cssm_key {
  CSSM_DATA KeyData;
} CSSM_KEY;

/**
 * The DER RSAPublicKey of a certificate's key.
 *
 * @param cssmKey set to a structure that belongs to `key` and lives as long.
 * @return errSecInvalidItemRef when `key` is none, is no RSA key, or is a private key: what that holds never
 * leaves its token.
 */
OSStatus SecKeyGetCSSMKey(SecKeyRef key, const CSSM_KEY** cssmKey);

// Transforms.

/** A computation over the value of its input attribute. */
typedef CFTypeRef SecTransformRef;

extern const CFStringRef kSecTransformInputAttributeName;

/** The codes of errors. */
enum {
  kSecTransformErrorInvalidAlgorithm = 6,
  kSecTransformErrorInvalidInput = 10,
  kSecTransformErrorMissingParameter = 14,
  kSecTransformErrorInvalidArgument = 21,
};

/**
 * Stores (and retains) the value of an attribute. Whether it makes sense is found out by the execution.
 *
 * @param value may be null, which unsets the attribute.
 * @param error may be null; set to null on success and to an error that the caller releases on failure.
 */
Boolean SecTransformSetAttribute(SecTransformRef transform, CFStringRef key, CFTypeRef value,
                                 CFErrorRef* error);

/**
 * Runs the transform, on the calling thread.
 *
 * @param error may be null; set to null on success and to an error that the caller releases on failure.
 * @return the result, a CFData, which the caller releases; null on failure.
 */
CFTypeRef SecTransformExecute(SecTransformRef transform, CFErrorRef* error);

extern const CFStringRef kSecBase64Encoding;

/**
 * A transform that encodes a CFData to a CFData of ASCII characters, without line breaks.
 *
 * @param encodeType kSecBase64Encoding; anything else is an error.
 * @param error may be null; set to null on success and to an error that the caller releases on failure.
 * @return a transform, which the caller releases; null on failure.
 */
SecTransformRef SecEncodeTransformCreate(CFTypeRef encodeType, CFErrorRef* error);

/** Attributes of a signing transform. What the input is has to be set, as only digests are signed. */
extern const CFStringRef kSecInputIsAttributeName;
extern const CFStringRef kSecInputIsDigest;
/** The digest's family, and its length in bits as a CFNumber. */
extern const CFStringRef kSecDigestTypeAttribute;
extern const CFStringRef kSecDigestSHA1;
extern const CFStringRef kSecDigestSHA2;
extern const CFStringRef kSecDigestLengthAttribute;
/** Accepted and without effect: it always pads by PKCS#1 v1.5. */
extern const CFStringRef kSecPaddingKey;
extern const CFStringRef kSecPaddingPKCS1Key;

/**
 * A transform that signs with PKCS#1 v1.5. The key stays in its token.
 *
 * @param key a null key is accepted here and missed by the execution.
 * @param error may be null; set to null.
 * @return a transform, which the caller releases.
 */
SecTransformRef SecSignTransformCreate(SecKeyRef key, CFErrorRef* error);
}
