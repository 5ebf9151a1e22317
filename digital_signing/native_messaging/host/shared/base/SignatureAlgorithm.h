#pragma once

#include <optional>
#include <string_view>

/** The signature algorithms, one row for each, read by everything that knows them. A row holds the name in
 * requests, the identifiers of the signature and of the digest in DSIGConstants, the digest in
 * XSECCryptoHash, for the key store its family and its bits, and OpenSSL's function for it. The order is that
 * of the values: new rows come last. */
#define VORN_SIGNATURE_ALGORITHMS(ROW)                                                                  \
  ROW(RSA_SHA1, s_unicodeStrURIRSA_SHA1, s_unicodeStrURISHA1, HASH_SHA1, kSecDigestSHA1, 160, EVP_sha1) \
  ROW(RSA_SHA256, s_unicodeStrURIRSA_SHA256, s_unicodeStrURISHA256, HASH_SHA256, kSecDigestSHA2, 256,   \
      EVP_sha256)                                                                                       \
  ROW(RSA_SHA512, s_unicodeStrURIRSA_SHA512, s_unicodeStrURISHA512, HASH_SHA512, kSecDigestSHA2, 512,   \
      EVP_sha512)

namespace vorn {

/** The algorithms that a request can name. */
enum class SignatureAlgorithm {
#define VORN_ROW(name, ...) name,
  VORN_SIGNATURE_ALGORITHMS(VORN_ROW)
#undef VORN_ROW
};

struct NamedAlgorithm {
  SignatureAlgorithm algorithm;
  std::string_view name;
};

inline constexpr NamedAlgorithm kSignatureAlgorithms[] = {
#define VORN_ROW(name, ...) {SignatureAlgorithm::name, #name},
    VORN_SIGNATURE_ALGORITHMS(VORN_ROW)
#undef VORN_ROW
};

/** Nothing for a name that no algorithm has. */
constexpr std::optional<SignatureAlgorithm> algorithmNamed(std::string_view name) {
  for (const NamedAlgorithm& known : kSignatureAlgorithms)
    if (known.name == name) return known.algorithm;
  return std::nullopt;
}

}  // namespace vorn
