#pragma once

#include <Security/SecBase.h>

extern "C" {

CFTypeID SecIdentityGetTypeID(void);

/**
 * @param certificate set to the identity's certificate; the caller releases it.
 * @return errSecParam when an argument is null or not an identity.
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
