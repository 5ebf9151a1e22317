#pragma once

#include <openssl/types.h>

#include <string_view>
#include <xsec/enc/XSECCryptoHash.hpp>

#include "shared/base/SignatureAlgorithm.h"

namespace vorn {

/** An RSA key's public half, each number as its big-endian bytes. */
struct RsaPublicKey {
  std::string_view modulus;
  std::string_view exponent;
};

/** OpenSSL's digest of the algorithm. */
const EVP_MD* evpDigest(SignatureAlgorithm algorithm);

/** Whether `signature` is the PKCS#1 v1.5 signature over `digest`, which `algorithm` has made, by the private
 * half of `key`. Leaves no error in OpenSSL's queue. */
bool isRsaSignature(EVP_PKEY* key, const EVP_MD* algorithm, std::string_view digest,
                    std::string_view signature);

/** The same for a digest of kind `hashType` and a key in numbers. False as well for everything that cannot be
 * checked: a kind that no request can ask for, numbers that are no key. Throws nothing. */
bool isRsaSignature(const RsaPublicKey& key, XSECCryptoHash::HashType hashType, std::string_view digest,
                    std::string_view signature);

}  // namespace vorn
