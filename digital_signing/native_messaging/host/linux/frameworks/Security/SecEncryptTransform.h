#pragma once

#include <Security/SecTransform.h>

extern "C" {

/** Accepted by a signing transform and without effect there: RSA signatures are padded by PKCS#1 v1.5 always.
 */
extern const CFStringRef kSecPaddingKey;
extern const CFStringRef kSecPaddingPKCS1Key;
}
