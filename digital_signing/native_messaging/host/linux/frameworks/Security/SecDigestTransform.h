#pragma once

#include <Security/SecTransform.h>

extern "C" {

/** Attributes of a signing transform: the digest's family, and its length in bits as a CFNumber. */
extern const CFStringRef kSecDigestTypeAttribute;
extern const CFStringRef kSecDigestLengthAttribute;

extern const CFStringRef kSecDigestSHA1;
extern const CFStringRef kSecDigestSHA2;
}
