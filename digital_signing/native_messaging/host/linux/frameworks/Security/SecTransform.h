#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Security/SecBase.h>

extern "C" {

/** A computation over the value of its input attribute. */
typedef CFTypeRef SecTransformRef;

extern const CFStringRef kSecTransformInputAttributeName;

/** The codes of errors. */
enum {
  kSecTransformErrorInvalidAlgorithm = 6,
  kSecTransformErrorInvalidInput = 10,
  kSecTransformErrorMissingParameter = 14,
  kSecTransformErrorInvalidArgument = 21,
};

/**
 * Stores (and retains) the value of an attribute. Whether it makes sense is found out by the execution.
 *
 * @param value may be null, which unsets the attribute.
 * @param error may be null; set to null on success and to an error that the caller releases on failure.
 */
Boolean SecTransformSetAttribute(SecTransformRef transform, CFStringRef key, CFTypeRef value,
                                 CFErrorRef* error);

/**
 * Runs the transform, on the calling thread.
 *
 * @param error may be null; set to null on success and to an error that the caller releases on failure.
 * @return the result, a CFData, which the caller releases; null on failure.
 */
CFTypeRef SecTransformExecute(SecTransformRef transform, CFErrorRef* error);
}
