#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

#include "mac/app/CFRef.h"

namespace vorn {

/**
 * Reads what SecCertificateCopyValues gives: a dictionary from object identifier to property, a property
 * being a dictionary too. Certificates come from anywhere, so every function tests types and reports what is
 * missing or of another type as null. Whatever is returned stays with `values`.
 */

/** The identifier of the private extension that carries the ABN. */
inline CFStringRef abnExtensionOID() {
  return CFSTR("1.2.36.1.333.1");
}

CFTypeRef certificateValue(CFDictionaryRef values, CFStringRef oid);
CFStringRef certificateString(CFDictionaryRef values, CFStringRef oid);
CFNumberRef certificateNumber(CFDictionaryRef values, CFStringRef oid);
/** An array of properties. */
CFArrayRef certificateSection(CFDictionaryRef values, CFStringRef oid);

/** The seconds of a date property; 0 when there is none. */
CFAbsoluteTime certificateTime(CFDictionaryRef values, CFStringRef oid);

/** The value of the element, if the element is a property of type "data" and its value is data. */
CFDataRef dataInSection(CFArrayRef section, CFIndex index);

/** The properties that the selection tests and reports; null when the certificate cannot be read. */
CFRef<CFDictionaryRef> copySelectionValues(SecCertificateRef certificate);

}  // namespace vorn
