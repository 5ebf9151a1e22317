#pragma once

#include <Security/SecBase.h>
#include <Security/cssmtype.h>

extern "C" {

/**
 * The DER RSAPublicKey of a certificate's key.
 *
 * @param cssmKey set to a structure that belongs to `key` and lives as long.
 * @return errSecInvalidItemRef when `key` is none, is no RSA key, or is a private key: what that holds never
 * leaves its token.
 */
OSStatus SecKeyGetCSSMKey(SecKeyRef key, const CSSM_KEY** cssmKey);
}
