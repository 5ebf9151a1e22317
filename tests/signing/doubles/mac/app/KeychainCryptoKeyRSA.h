#pragma once

#include <openssl/evp.h>

#include <string>
#include <xsec/enc/OpenSSL/OpenSSLCryptoKeyRSA.hpp>

/** In place of the key of the key store: an OpenSSL key, read from the PEM text that stands for the
 * certificate. */
class KeychainCryptoKeyRSA : public OpenSSLCryptoKeyRSA {
 public:
  KeychainCryptoKeyRSA(const std::string& pem, int);
  ~KeychainCryptoKeyRSA() override;
  std::string getModulusBase64() const;
  std::string getExponentBase64() const;

 private:
  explicit KeychainCryptoKeyRSA(EVP_PKEY* key);
  EVP_PKEY* key_;
};
