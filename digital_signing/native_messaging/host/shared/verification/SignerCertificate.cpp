#include "shared/verification/SignerCertificate.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <cstdint>

#include "shared/verification/Fault.h"

namespace vorn::verification {
namespace {

constexpr int kSmallestKey = 1024;
// What OpenSSL computes with.
constexpr int kLargestKey = 16384;
constexpr std::size_t kLongestExponent = 8;

[[noreturn]] void refuse(std::string_view code, const std::string& reason) {
  // What went wrong here must not be taken for a failure of whatever uses the library next.
  ERR_clear_error();
  throw Fault{code, reason};
}

/** DER has one way to write a thing: what is written again is the same. */
bool isWrittenSo(const X509& certificate, std::string_view der) {
  unsigned char* bytes = nullptr;
  const int length = i2d_X509(&certificate, &bytes);
  const bool same = length >= 0 && der == std::string_view(reinterpret_cast<const char*>(bytes),
                                                           static_cast<std::size_t>(length));
  OPENSSL_free(bytes);
  return same;
}

std::string numberOf(const EVP_PKEY* key, const char* name) {
  BIGNUM* number = nullptr;
  if (EVP_PKEY_get_bn_param(key, name, &number) != 1) return {};
  std::string bytes(static_cast<std::size_t>(BN_num_bytes(number)), '\0');
  BN_bn2bin(number, reinterpret_cast<unsigned char*>(bytes.data()));
  BN_free(number);
  return bytes;
}

/** An exponent that makes a signature prove something, and that is no work to raise to. */
bool isUsable(const std::string& exponent) {
  return !exponent.empty() && exponent.size() <= kLongestExponent && exponent != "\1" &&
         (static_cast<unsigned char>(exponent.back()) & 1U) != 0;
}

}  // namespace

SignerCertificate::SignerCertificate(std::string_view der) {
  const auto* const begin = reinterpret_cast<const unsigned char*>(der.data());
  const unsigned char* end = begin;
  certificate_.reset(d2i_X509(nullptr, &end, static_cast<long>(der.size())));
  if (!certificate_ || end != begin + der.size() || !isWrittenSo(*certificate_, der) ||
      (X509_get_extension_flags(certificate_.get()) & EXFLAG_INVALID) != 0)
    refuse(kFormatFailure, "what stands as the signer's certificate is none");
  if (key() == nullptr || EVP_PKEY_get_base_id(key()) != EVP_PKEY_RSA)
    refuse(kCryptoConstraints, "the certificate's key is not an RSA key");
  if (keyBits() < kSmallestKey || keyBits() > kLargestKey ||
      !isUsable(numberOf(key(), OSSL_PKEY_PARAM_RSA_E)))
    refuse(kCryptoConstraints,
           "an RSA key like the certificate's, of " + std::to_string(keyBits()) + " bits, is not accepted");
}

bool SignerCertificate::hasKey(std::string_view modulus, std::string_view exponent) const {
  return modulus == numberOf(key(), OSSL_PKEY_PARAM_RSA_N) &&
         exponent == numberOf(key(), OSSL_PKEY_PARAM_RSA_E);
}

int SignerCertificate::keyBits() const {
  return EVP_PKEY_get_bits(key());
}

bool SignerCertificate::maySign() const {
  // A certificate whose extended uses are all known, and none of them a person's, is a machine's. One use
  // that has no name here may be an authority's own for signing.
  constexpr std::uint32_t kOfMachines =
      XKU_SSL_SERVER | XKU_CODE_SIGN | XKU_SGC | XKU_OCSP_SIGN | XKU_TIMESTAMP | XKU_DVCS;
  const bool isLimited = (X509_get_extension_flags(certificate_.get()) & EXFLAG_XKUSAGE) != 0;
  const std::uint32_t uses = isLimited ? X509_get_extended_key_usage(certificate_.get()) : 0;
  if (uses != 0 && (uses & ~kOfMachines) == 0) return false;
  return (X509_get_extension_flags(certificate_.get()) & EXFLAG_KUSAGE) != 0 &&
         (X509_get_key_usage(certificate_.get()) & KU_DIGITAL_SIGNATURE) != 0;
}

}  // namespace vorn::verification
