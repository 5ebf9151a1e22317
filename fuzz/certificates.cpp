// Certificates of any bytes: whatever the key store holds, reading it neither fails badly nor keeps anything.

#include <log4cplus/helpers/loglog.h>
#include <xsec/enc/XSECCryptoException.hpp>

#include <cstdint>
#include <vector>

#include "fuzz/Require.h"
#include "linux/frameworks/Security/SecObjects.h"
#include "mac/app/CFRef.h"
#include "mac/app/CFValues.h"
#include "mac/app/CertificateDetails.h"
#include "mac/app/CertificateMatching.h"
#include "mac/app/KeychainCryptoKeyRSA.h"

using namespace vorn;

namespace {

using vorn::frameworks::Certificate;
using vorn::frameworks::Object;

void readAsTheSelectionDoes(SecCertificateRef certificate) {
  certificateEmailMatches(certificate, "jane@example.com");
  const CFRef<CFDictionaryRef> values = copySelectionValues(certificate);
  require(static_cast<bool>(values), "every certificate has values");
  certificateABNMatches(values.get(), "12345678901");
  certificateAKIMatches(values.get(), {"0a1b2c3d"});
  isSigningCertificate(values.get());
  getIssuerName(values.get());
  formatCertificateDate(certificateTime(values.get(), kSecOIDX509V1ValidityNotAfter));
  utf8TextCutTo(certificateString(values.get(), kSecOIDX509V1SerialNumber), 100);
  require(!encodeCertificate(certificate).empty(), "every certificate has its bytes");
}

void readAsTheSignerDoes(SecCertificateRef certificate) {
  try {
    const KeychainCryptoKeyRSA key(certificate, nullptr);
    key.getModulusBase64();
    key.getExponentBase64();
  } catch (const XSECCryptoException&) {
    // A key that is no RSA key.
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  log4cplus::helpers::LogLog::getLogLog()->setQuietMode(true);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  {
    const auto certificate = CFRef<SecCertificateRef>::adopt(
        vorn::frameworks::handOver<SecCertificateRef>(Certificate::make({data, data + size})));
    if (certificate) {
      readAsTheSelectionDoes(certificate.get());
      readAsTheSignerDoes(certificate.get());
    }
  }
  require(Object::liveCount() == 0, "all objects are given back");
  return 0;
}
