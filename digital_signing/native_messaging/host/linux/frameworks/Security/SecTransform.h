#pragma once

#include <CoreFoundation/CFError.h>
#include <Security/SecBase.h>

extern "C" {

/** A computation over the value of its input attribute, run once. */
typedef CFTypeRef SecTransformRef;

extern const CFStringRef kSecTransformErrorDomain;
extern const CFStringRef kSecTransformInputAttributeName;

/** Codes in kSecTransformErrorDomain. */
enum {
  kSecTransformErrorInvalidAlgorithm = 6,
  kSecTransformErrorInvalidType = 8,
  kSecTransformErrorInvalidInput = 10,
  kSecTransformErrorUnsupportedAttribute = 12,
  kSecTransformErrorMissingParameter = 14,
  kSecTransformTransformIsExecuting = 16,
  kSecTransformErrorAborted = 20,
  kSecTransformErrorInvalidArgument = 21,
};

CFTypeID SecTransformGetTypeID(void);

/**
 * Stores (and retains) the value of an attribute. Whether it makes sense is found out by the execution.
 *
 * @param value may be null, which unsets the attribute.
 * @param error may be null; set to null on success and to an error that the caller releases on failure.
 */
Boolean SecTransformSetAttribute(SecTransformRef transform, CFStringRef key, CFTypeRef value,
                                 CFErrorRef* error);

/**
 * Runs the transform, on the calling thread. It can be run once.
 *
 * @param error may be null; set to null on success and to an error that the caller releases on failure.
 * @return the result, a CFData, which the caller releases; null on failure.
 */
CFTypeRef SecTransformExecute(SecTransformRef transform, CFErrorRef* error);
}
