#pragma once

#include <Security/SecBase.h>

extern "C" {

/**
 * @param certificate set to the identity's certificate; the caller releases it.
 * @return errSecParam when `identity` is none.
 */
OSStatus SecIdentityCopyCertificate(SecIdentityRef identity, SecCertificateRef* certificate);

/**
 * Asks for no password and checks no access: that happens when the key is used.
 *
 * @param privateKey set to the identity's private key; the caller releases it.
 * @return errSecInvalidItemRef when `identity` is none.
 */
OSStatus SecIdentityCopyPrivateKey(SecIdentityRef identity, SecKeyRef* privateKey);
}
