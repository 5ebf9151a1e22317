#include "shared/base/RsaCheck.h"

#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "shared/base/OpenSslHandle.h"
#include "shared/base/SignatureAlgorithm.h"

namespace vorn {
namespace {

using Number = OpenSslHandle<BIGNUM, &BN_free>;
using ParametersBuilder = OpenSslHandle<OSSL_PARAM_BLD, &OSSL_PARAM_BLD_free>;
using Parameters = OpenSslHandle<OSSL_PARAM, &OSSL_PARAM_free>;
using Context = OpenSslHandle<EVP_PKEY_CTX, &EVP_PKEY_CTX_free>;
using Key = OpenSslHandle<EVP_PKEY, &EVP_PKEY_free>;

const EVP_MD* digestAlgorithm(XSECCryptoHash::HashType hashType) {
  switch (hashType) {
#define VORN_ROW(name, method, digest, hash, family, bits, evp) \
  case XSECCryptoHash::hash:                                    \
    return evp();
    VORN_SIGNATURE_ALGORITHMS(VORN_ROW)
#undef VORN_ROW
    default:
      return nullptr;
  }
}

Number makeNumber(std::span<const std::uint8_t> bytes) {
  return Number(BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), nullptr));
}

Key makeKey(const RsaPublicKey& key) {
  const Number modulus = makeNumber(key.modulus);
  const Number exponent = makeNumber(key.exponent);
  const ParametersBuilder builder(OSSL_PARAM_BLD_new());
  if (!modulus || !exponent || !builder ||
      OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, modulus.get()) != 1 ||
      OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_E, exponent.get()) != 1)
    return nullptr;
  const Parameters parameters(OSSL_PARAM_BLD_to_param(builder.get()));
  const Context context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
  EVP_PKEY* made = nullptr;
  if (!parameters || !context || EVP_PKEY_fromdata_init(context.get()) != 1 ||
      EVP_PKEY_fromdata(context.get(), &made, EVP_PKEY_PUBLIC_KEY, parameters.get()) != 1)
    return nullptr;
  return Key(made);
}

/**
 * The library's form of the key. Making it costs as much as a verification, and one signature after another
 * is made with the same key: the last one is kept. One thread signs.
 */
EVP_PKEY* keyFor(const RsaPublicKey& key) {
  static struct {
    std::vector<std::uint8_t> modulus;
    std::vector<std::uint8_t> exponent;
    Key key;
  } last;
  const auto isSame = [](const std::vector<std::uint8_t>& bytes, const auto& others) {
    return std::equal(bytes.begin(), bytes.end(), others.begin(), others.end());
  };
  if (!last.key || !isSame(last.modulus, key.modulus) || !isSame(last.exponent, key.exponent)) {
    last.key = makeKey(key);
    last.modulus.assign(key.modulus.begin(), key.modulus.end());
    last.exponent.assign(key.exponent.begin(), key.exponent.end());
  }
  return last.key.get();
}

}  // namespace

bool isRsaSignature(EVP_PKEY* key, const EVP_MD* algorithm, std::span<const std::uint8_t> digest,
                    std::span<const std::uint8_t> signature) {
  const Context context(key != nullptr ? EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr) : nullptr);
  const bool valid =
      context && EVP_PKEY_verify_init(context.get()) == 1 &&
      EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1 &&
      EVP_PKEY_CTX_set_signature_md(context.get(), algorithm) == 1 &&
      EVP_PKEY_verify(context.get(), signature.data(), signature.size(), digest.data(), digest.size()) == 1;
  // What went wrong here must not be taken for a failure of whatever uses the library next.
  if (!valid) ERR_clear_error();
  return valid;
}

bool isSignatureOf(std::span<const std::uint8_t> digest, XSECCryptoHash::HashType hashType,
                   std::span<const std::uint8_t> signature, const RsaPublicKey& key) {
  const EVP_MD* const algorithm = digestAlgorithm(hashType);
  return algorithm != nullptr && isRsaSignature(keyFor(key), algorithm, digest, signature);
}

}  // namespace vorn
