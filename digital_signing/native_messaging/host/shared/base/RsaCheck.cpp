#include "shared/base/RsaCheck.h"

#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>

#include <memory>
#include <string>

#include "shared/base/Exceptions.h"
#include "shared/base/OpenSslHandle.h"

namespace vorn {
namespace {

using Number = OpenSslHandle<BIGNUM, &BN_free>;
using ParametersBuilder = OpenSslHandle<OSSL_PARAM_BLD, &OSSL_PARAM_BLD_free>;
using Parameters = OpenSslHandle<OSSL_PARAM, &OSSL_PARAM_free>;
using Context = OpenSslHandle<EVP_PKEY_CTX, &EVP_PKEY_CTX_free>;
using Key = OpenSslHandle<EVP_PKEY, &EVP_PKEY_free>;

/** Null for a kind that no request can ask for. */
const EVP_MD* evpDigest(XSECCryptoHash::HashType hashType) {
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

const unsigned char* bytesAt(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

Number makeNumber(std::string_view bytes) {
  return Number(BN_bin2bn(bytesAt(bytes), static_cast<int>(bytes.size()), nullptr));
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

/** The library's form of the key. Making it costs as much as a verification, and one signature after another
 * is made with the same key: the last one is kept. One thread signs. */
EVP_PKEY* keyFor(const RsaPublicKey& key) {
  static struct {
    std::string modulus;
    std::string exponent;
    Key key;
  } last;
  if (!last.key || last.modulus != key.modulus || last.exponent != key.exponent) {
    last.key = makeKey(key);
    last.modulus = key.modulus;
    last.exponent = key.exponent;
  }
  return last.key.get();
}

}  // namespace

const EVP_MD* evpDigest(SignatureAlgorithm algorithm) {
  switch (algorithm) {
#define VORN_ROW(name, method, digest, hash, family, bits, evp) \
  case SignatureAlgorithm::name:                                \
    return evp();
    VORN_SIGNATURE_ALGORITHMS(VORN_ROW)
#undef VORN_ROW
  }
  throw TechnicalException("There is no such signature algorithm");
}

bool isRsaSignature(EVP_PKEY* key, const EVP_MD* algorithm, std::string_view digest,
                    std::string_view signature) {
  const Context context(key != nullptr ? EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr) : nullptr);
  const bool valid = context && EVP_PKEY_verify_init(context.get()) == 1 &&
                     EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1 &&
                     EVP_PKEY_CTX_set_signature_md(context.get(), algorithm) == 1 &&
                     EVP_PKEY_verify(context.get(), bytesAt(signature), signature.size(), bytesAt(digest),
                                     digest.size()) == 1;
  // What went wrong here must not be taken for a failure of whatever uses the library next.
  if (!valid) ERR_clear_error();
  return valid;
}

bool isRsaSignature(const RsaPublicKey& key, XSECCryptoHash::HashType hashType, std::string_view digest,
                    std::string_view signature) {
  const EVP_MD* const algorithm = evpDigest(hashType);
  return algorithm != nullptr && isRsaSignature(keyFor(key), algorithm, digest, signature);
}

}  // namespace vorn
