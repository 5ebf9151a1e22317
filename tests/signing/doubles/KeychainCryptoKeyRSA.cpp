#include "mac/app/KeychainCryptoKeyRSA.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/pem.h>

#include <cstdlib>
#include <vector>

#include "mac/app/CertificateSelection.h"
#include "shared/Base64.h"

namespace {

EVP_PKEY* readKey(const std::string& pem) {
  CertificateSelection::getInstance().onKeySetUp();
  BIO* bio = BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size()));
  EVP_PKEY* key = PEM_read_bio_PrivateKey(bio, nullptr, nullptr, nullptr);
  BIO_free(bio);
  return key;
}

std::string numberBase64(const EVP_PKEY* key, const char* name) {
  BIGNUM* number = nullptr;
  EVP_PKEY_get_bn_param(key, name, &number);
  std::vector<unsigned char> bytes(static_cast<std::size_t>(BN_num_bytes(number)));
  BN_bn2bin(number, bytes.data());
  BN_free(number);
  char* text = nullptr;
  encodeBase64(bytes.data(), bytes.size(), &text);
  std::string result(text);
  std::free(text);
  return result;
}

}  // namespace

KeychainCryptoKeyRSA::KeychainCryptoKeyRSA(const std::string& pem, int)
    : KeychainCryptoKeyRSA(readKey(pem)) {}

KeychainCryptoKeyRSA::KeychainCryptoKeyRSA(EVP_PKEY* key) : OpenSSLCryptoKeyRSA(key), key_(key) {
  ++CertificateSelection::getInstance().keysAlive;
}

KeychainCryptoKeyRSA::~KeychainCryptoKeyRSA() {
  --CertificateSelection::getInstance().keysAlive;
  EVP_PKEY_free(key_);
}

std::string KeychainCryptoKeyRSA::getModulusBase64() const {
  CertificateSelection::getInstance().onModulus();
  return numberBase64(key_, OSSL_PKEY_PARAM_RSA_N);
}

std::string KeychainCryptoKeyRSA::getExponentBase64() const {
  return numberBase64(key_, OSSL_PKEY_PARAM_RSA_E);
}
