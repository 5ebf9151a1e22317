#pragma once

#include <Security/SecBase.h>
#include <Security/cssmtype.h>

extern "C" {

CFTypeID SecKeyGetTypeID(void);

/**
 * A description of a certificate's public key. For RSA its data is the DER RSAPublicKey, for other algorithms
 * the whole SubjectPublicKeyInfo.
 *
 * @param cssmKey set to a structure that belongs to `key` and lives as long.
 * @return errSecInvalidItemRef when `key` is none, or is a private key: what that holds never leaves its
 * token.
 */
OSStatus SecKeyGetCSSMKey(SecKeyRef key, const CSSM_KEY** cssmKey);
}
