#include "shared/verification/SignerCertificate.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <cstdint>

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

std::uint8_t byteAt(std::string_view bytes, std::size_t at) {
  return static_cast<std::uint8_t>(bytes[at]);
}

enum Tag : std::uint8_t {
  kBoolean = 1,
  kInteger = 2,
  kBits = 3,
  kNull = 5,
  kIdentifier = 6,
  kSequence = 0x30,
  kSet = 0x31
};
constexpr std::uint8_t kConstructed = 0x20;
constexpr std::uint8_t kUniversalTags = 0x40;  // are those below

bool isValueInDer(std::uint8_t tag, std::string_view value) {
  const std::size_t size = value.size();
  switch (tag) {
    case kBoolean:
      return size == 1 && (byteAt(value, 0) == 0 || byteAt(value, 0) == 0xFF);
    case kInteger:
      // Not longer than the number needs.
      return size == 1 || (size > 1 && byteAt(value, 0) != (byteAt(value, 1) >= 0x80 ? 0xFF : 0));
    case kBits:
      return size > 0 && byteAt(value, 0) < 8 && (size > 1 || byteAt(value, 0) == 0) &&
             (byteAt(value, size - 1) & ((1U << byteAt(value, 0)) - 1) & (size > 1 ? 0xFFU : 0U)) == 0;
    case kNull:
      return size == 0;
    case kIdentifier:
      return size > 0 && byteAt(value, 0) != 0x80 && byteAt(value, size - 1) < 0x80;
    default:
      return true;
  }
}

/** Whether all of it has the one form that DER has for it, but for what stands in octet strings. */
bool isDer(std::string_view bytes, int levels = 20) {
  while (!bytes.empty()) {
    if (levels == 0 || bytes.size() < 2) return false;
    const std::uint8_t tag = byteAt(bytes, 0);
    std::size_t start = 2, length = byteAt(bytes, 1);
    if (length >= 0x80) {
      start += length - 0x80;
      if (start > 6 || start > bytes.size()) return false;
      length = 0;
      for (std::size_t at = 2; at < start; ++at) length = length << 8 | byteAt(bytes, at);
      if (length < 0x80 || byteAt(bytes, 2) == 0) return false;
    }
    if (length > bytes.size() - start) return false;
    const std::string_view value = bytes.substr(start, length);
    const bool isConstructed = (tag & kConstructed) != 0;
    if (tag < kUniversalTags && isConstructed != (tag == kSequence || tag == kSet)) return false;
    if (isConstructed ? !isDer(value, levels - 1) : !isValueInDer(tag, value)) return false;
    bytes.remove_prefix(start + length);
  }
  return true;
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
         (version == kThird || X509_get_ext_count(&certificate) == 0) && isDer(der);
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
