#pragma once

#include <Security/SecTransform.h>

extern "C" {

/** What the input is: text to digest (the default), a digest, or the very bytes to pad and sign. */
extern const CFStringRef kSecInputIsAttributeName;
extern const CFStringRef kSecInputIsPlainText;
extern const CFStringRef kSecInputIsDigest;
extern const CFStringRef kSecInputIsRaw;

/**
 * A transform that signs with PKCS#1 v1.5 (RSA) or ECDSA. The key stays in its token.
 *
 * @param key a null key is accepted here and missed by the execution.
 * @param error may be null; set to null on success.
 * @return a transform, which the caller releases.
 */
SecTransformRef SecSignTransformCreate(SecKeyRef key, CFErrorRef* error);
}
