#pragma once

#include <Security/SecTransform.h>

extern "C" {

/** What the input is; it has to be set, as only digests are signed. */
extern const CFStringRef kSecInputIsAttributeName;
extern const CFStringRef kSecInputIsDigest;

/**
 * A transform that signs with PKCS#1 v1.5. The key stays in its token.
 *
 * @param key a null key is accepted here and missed by the execution.
 * @param error may be null; set to null.
 * @return a transform, which the caller releases.
 */
SecTransformRef SecSignTransformCreate(SecKeyRef key, CFErrorRef* error);
}
