#pragma once

#include <Security/SecTransform.h>

extern "C" {

/** Accepted by a signing transform and without effect there: it always pads by PKCS#1 v1.5. */
extern const CFStringRef kSecPaddingKey;
extern const CFStringRef kSecPaddingPKCS1Key;
}
