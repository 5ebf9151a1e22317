#pragma once

#include <Security/SecTransform.h>

extern "C" {

extern const CFStringRef kSecBase64Encoding;

/**
 * A transform that encodes a CFData to a CFData of ASCII characters, without line breaks.
 *
 * @param encodeType kSecBase64Encoding; anything else is an error.
 * @param error may be null; set to null on success and to an error that the caller releases on failure.
 * @return a transform, which the caller releases; null on failure.
 */
SecTransformRef SecEncodeTransformCreate(CFTypeRef encodeType, CFErrorRef* error);
}
