#pragma once

#include <openssl/types.h>

#include <cstdint>
#include <span>
#include <xsec/enc/XSECCryptoHash.hpp>

namespace vorn {

/** An RSA key's public half, each number as its big-endian bytes. */
struct RsaPublicKey {
  std::span<const std::uint8_t> modulus;
  std::span<const std::uint8_t> exponent;
};

/** Whether `signature` is the PKCS#1 v1.5 signature over `digest`, which `algorithm` has made, by the private
 * half of `key`. Leaves no error in OpenSSL's queue. */
bool isRsaSignature(EVP_PKEY* key, const EVP_MD* algorithm, std::span<const std::uint8_t> digest,
                    std::span<const std::uint8_t> signature);

/**
 * Whether `signature` is the PKCS#1 v1.5 signature over `digest`, a digest of kind `hashType`, by the private
 * half of `key`. False as well for everything that cannot be checked: a kind that no request can ask for,
 * numbers that are no key. Throws nothing.
 */
bool isSignatureOf(std::span<const std::uint8_t> digest, XSECCryptoHash::HashType hashType,
                   std::span<const std::uint8_t> signature, const RsaPublicKey& key);

}  // namespace vorn
