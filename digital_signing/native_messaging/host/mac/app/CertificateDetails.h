#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

#include <string>

#include "mac/app/CFRef.h"

namespace vorn {

/** Reads what SecCertificateCopyValues gives: a dictionary from object identifier to property, a property
 * being a dictionary too. Certificates come from anywhere, so every function tests types and reports what is
 * missing or of another type as null. Whatever is returned stays with `values`. */

/** The identifier of the private extension that carries the ABN. */
inline CFStringRef abnExtensionOID() {
  return CFSTR("1.2.36.1.333.1");
}

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

/** The texts of a certificate that the host reports and puts into signatures. */

/** The base64 text of the DER bytes; empty, and logged, when there is none. Throws as base64Encode. */
std::string encodeCertificate(SecCertificateRef certificate);

/** The base64 bytes, in the layout that the platform's transform gives by default; empty when the transform
 * gives nothing. Throws TechnicalException when it reports an error. */
CFRef<CFDataRef> base64Encode(CFDataRef data);

/** The first common name of the issuer; empty when there is none. `values` is
 * what SecCertificateCopyValues gave. */
std::string getIssuerName(CFDictionaryRef values);

/** The local time as "2030-07-01T00:00:00.000Z". The Z is part of the fixed form that pages expect and says
 * nothing about the time zone. */
std::string formatCertificateDate(CFAbsoluteTime time);

}  // namespace vorn
