#pragma once

#include "shared/base/SignatureAlgorithm.h"
#include "shared/json/jsonxx.h"

/** What a request needs of the key store and of the XML libraries, and all of it: whatever stands behind
 * these two functions is started at their first call. On Linux they are the door to a library of its own,
 * because loading what it links costs ten times the start of the host. */
namespace vorn::signing {

/** Selects the identity that `userDetails` (validated) names and appends "cert_expiry", "cert_issuer" and
 * "cert_serial" of its certificate. Throws BaseException: not found, expired (the members stay), technical.
 */
void selectCertificate(const jsonxx::Object& userDetails, jsonxx::Object& response);

/** Signs each document of "xml_data" (validated) with the selected identity and appends "signed_data". All or
 * nothing: throws BaseException at the first document that cannot be signed, or with which the answer would
 * be longer than kLongestAnswer, with nothing appended, and RequesterGoneException when the browser goes
 * meanwhile. */
void signDocuments(const jsonxx::Array& xmlData, SignatureAlgorithm algorithm, jsonxx::Object& response);

}  // namespace vorn::signing
