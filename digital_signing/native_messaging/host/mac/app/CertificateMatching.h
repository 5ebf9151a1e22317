#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

#include <optional>
#include <string>
#include <vector>

namespace vorn {

/** The tests that an identity's certificate has to pass, one by one. Each logs what it finds, throws nothing,
 * and takes a certificate without the field in question, or with one of an odd shape, for one that does not
 * match. `values` is what SecCertificateCopyValues gave for the certificate. */

/** The criteria by which a request chooses a certificate. */
struct SelectionCriteria {
  std::string name;
  std::string email;
  std::string abn;
  std::vector<std::string> akis; /**< in lower case, sorted by byte value */

  bool operator==(const SelectionCriteria&) const = default;
};

/** Whether one of the certificate's addresses, in lower case, is `email`, which is in lower case. */
bool certificateEmailMatches(SecCertificateRef certificate, const std::string& email);

/** Whether one of the texts of the ABN extension is `abn`, byte by byte. */
bool certificateABNMatches(CFDictionaryRef values, const std::string& abn);

/** Whether an authority key identifier, in lower-case hexadecimal without separators, is one of `akis`. */
bool certificateAKIMatches(CFDictionaryRef values, const std::vector<std::string>& akis);

/** Whether the key usage has the digital-signature bit. */
bool isSigningCertificate(CFDictionaryRef values);

/** The text inside a DER string up to its first zero byte; none when it is not UTF-8 or too long for an ABN.
 */
std::optional<std::string> abnText(CFDataRef der);

/** In lower case, without separators. */
std::string lowerCaseHex(CFDataRef data);

}  // namespace vorn
