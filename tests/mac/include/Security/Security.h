#pragma once

/**
 * The host's part of Security, marked as it is in the headers of macOS: a call of what is deprecated there is
 * reported here too, unless the source that makes it asks for silence.
 */
#include <Security/SecEncodeTransform.h>
#include <Security/SecSignVerifyTransform.h>
#include <Security/SecTransform.h>
#include_next <Security/Security.h>

#define VORN_TEST_DEPRECATED(since) \
  __attribute__((availability(macos, introduced = 10.2, deprecated = since)))

extern "C" {

VORN_TEST_DEPRECATED(10.14)
OSStatus SecCertificateCopyPublicKey(SecCertificateRef certificate, SecKeyRef* key);
VORN_TEST_DEPRECATED(10.7) OSStatus SecKeyGetCSSMKey(SecKeyRef key, const CSSM_KEY** cssmKey);
VORN_TEST_DEPRECATED(10.13) SecTransformRef SecEncodeTransformCreate(CFTypeRef encodeType, CFErrorRef* error);
VORN_TEST_DEPRECATED(10.13) SecTransformRef SecSignTransformCreate(SecKeyRef key, CFErrorRef* error);
VORN_TEST_DEPRECATED(10.13)
Boolean SecTransformSetAttribute(SecTransformRef transform, CFStringRef key, CFTypeRef value,
                                 CFErrorRef* error);
VORN_TEST_DEPRECATED(10.13) CFTypeRef SecTransformExecute(SecTransformRef transform, CFErrorRef* error);
}
