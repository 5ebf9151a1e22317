#include "shared/verification/SignerCertificate.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstdint>

#include "shared/base/Der.h"
#include "shared/verification/Objection.h"

namespace vorn::verification {
namespace {

constexpr int kSmallestKey = 1024;
// The largest RSA key that OpenSSL verifies with.
constexpr int kLargestKey = 16384;
constexpr std::size_t kLongestExponent = 8;

[[noreturn]] void refuse(std::string_view code, const std::string& reason) {
  // What went wrong here must not be taken for a failure of whatever uses the library next.
  ERR_clear_error();
  throw Objection{code, reason};
}

constexpr std::uint8_t kConstructed = 0x20;
constexpr std::uint8_t kUniversalTags = 0x40;  // are those below

bool isValueInDer(std::uint8_t tag, der::Bytes value) {
  const std::size_t size = value.size();
  switch (tag) {
    case der::kBoolean:
      return size == 1 && (value[0] == 0 || value[0] == 0xFF);
    case der::kInteger:
      // Not longer than the number needs.
      return size == 1 || (size > 1 && value[0] != (value[1] >= 0x80 ? 0xFF : 0));
    case der::kBitString:
      return der::bitStringContent(value) &&
             (value.back() & ((1U << value[0]) - 1) & (size > 1 ? 0xFFU : 0U)) == 0;
    case der::kNull:
      return size == 0;
    case der::kObjectIdentifier:
      return size > 0 && value[0] != 0x80 && value.back() < 0x80;
    default:
      return true;
  }
}

/** Whether all of it has the one form that DER has for it, but for what stands in octet strings. */
bool isDer(der::Bytes bytes, int levels = 20) {
  if (bytes.empty()) return true;
  const auto elements = levels > 0 ? der::children(bytes) : std::nullopt;
  return elements && std::all_of(elements->begin(), elements->end(), [levels](const der::Element& element) {
           const auto& [tag, value] = element;
           const bool isConstructed = (tag & kConstructed) != 0;
           if (tag < kUniversalTags && isConstructed != (tag == der::kSequence || tag == der::kSet))
             return false;
           return isConstructed ? isDer(value, levels - 1) : isValueInDer(tag, value);
         });
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

bool isWellFormed(const X509& certificate, std::string_view der) {
  constexpr long kFirst = 0, kThird = 2;
  const long version = X509_get_version(&certificate);
  return version >= kFirst && version <= kThird &&
         (version == kThird || X509_get_ext_count(&certificate) == 0) &&
         isDer({reinterpret_cast<const std::uint8_t*>(der.data()), der.size()});
}

bool isForPersons(const X509& certificate) {
  using Uses = OpenSslHandle<EXTENDED_KEY_USAGE, &EXTENDED_KEY_USAGE_free>;
  constexpr int kNone = -1;
  int found = kNone;
  const Uses uses(
      static_cast<EXTENDED_KEY_USAGE*>(X509_get_ext_d2i(&certificate, NID_ext_key_usage, &found, nullptr)));
  if (!uses) return found == kNone;
  for (int i = 0; i < sk_ASN1_OBJECT_num(uses.get()); ++i) {
    char text[80];
    OBJ_obj2txt(text, sizeof text, sk_ASN1_OBJECT_value(uses.get(), i), 1);
    // E-mail, client, any, and signing of documents: of the standard, of Microsoft and of Adobe.
    for (const std::string_view use :
         {"1.3.6.1.5.5.7.3.4", "1.3.6.1.5.5.7.3.2", "2.5.29.37.0", "1.3.6.1.5.5.7.3.36",
          "1.3.6.1.4.1.311.10.3.12", "1.2.840.113583.1.1.5"})
      if (text == use) return true;
  }
  return false;
}

SignerCertificate::SignerCertificate(std::string_view der) {
  const auto* const begin = reinterpret_cast<const unsigned char*>(der.data());
  const unsigned char* end = begin;
  certificate_.reset(d2i_X509(nullptr, &end, static_cast<long>(der.size())));
  if (!certificate_ || end != begin + der.size() || !isWellFormed(*certificate_, der) ||
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
  return (X509_get_extension_flags(certificate_.get()) & EXFLAG_KUSAGE) != 0 &&
         (X509_get_key_usage(certificate_.get()) & KU_DIGITAL_SIGNATURE) != 0 && isForPersons(*certificate_);
}

}  // namespace vorn::verification
