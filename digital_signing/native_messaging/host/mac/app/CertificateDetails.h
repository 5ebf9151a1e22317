#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

#include <string>

#include "mac/app/CFRef.h"

namespace vorn {

/** The texts of a certificate that the host reports and puts into signatures. */

/** The base64 text of the DER bytes; empty, and logged, when there is none. Throws as base64Encode. */
std::string encodeCertificate(SecCertificateRef certificate);

/**
 * The base64 bytes, in the layout that the platform's transform gives by default; empty when the transform
 * gives nothing. Throws TechnicalException when it reports an error.
 */
CFRef<CFDataRef> base64Encode(CFDataRef data);

/**
 * The first common name of the issuer; empty when there is none. `values` is
 * what SecCertificateCopyValues gave.
 */
std::string getIssuerName(CFDictionaryRef values);

/**
 * The local time as "2030-07-01T00:00:00.000Z". The Z is part of the fixed form that pages expect and says
 * nothing about the time zone.
 */
std::string formatCertificateDate(CFAbsoluteTime time);

}  // namespace vorn
