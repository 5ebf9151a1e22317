#pragma once

#include <openssl/x509.h>

#include <string>
#include <string_view>

#include "shared/base/OpenSslHandle.h"

namespace vorn::verification {

/** Whether the bytes that the certificate was read from are DER throughout, of a version that there is, with
 * extensions only in the third. */
bool isWellFormed(const X509& certificate, std::string_view der);

/** Whether the certificate is for people, or to vouch for them: of the extended key usages, if there are any,
 * one has to be a person's. Those that nobody here knows are not. */
bool isForPersons(const X509& certificate);

/** A certificate as a signature holds it, read once and to the last byte. */
class SignerCertificate {
 public:
  /** Throws an Objection unless `der` is one certificate in DER and nothing more, with an RSA key of a size
   * that is accepted. */
  explicit SignerCertificate(std::string_view der);

  /** Whether the magnitudes, big-endian and without leading zeros, are the key's. */
  bool hasKey(std::string_view modulus, std::string_view exponent) const;
  int keyBits() const;
  /** Whether the key usage is there and has digital signature, and isForPersons. */
  bool maySign() const;

  EVP_PKEY* key() const { return X509_get0_pubkey(certificate_.get()); }

 private:
  OpenSslHandle<X509, &X509_free> certificate_;
};

}  // namespace vorn::verification
