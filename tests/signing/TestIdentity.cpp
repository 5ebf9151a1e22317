#include "signing/TestIdentity.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <cstdlib>
#include <numeric>
#include <stdexcept>
#include <vector>
#include <xsec/enc/OpenSSL/OpenSSLCryptoKeyRSA.hpp>

#include "Bytes.h"
#include "shared/base/Base64.h"
#include "shared/base/SigningIdentity.h"

using namespace vorn;

namespace {

EVP_PKEY* readKey(const std::string& pem) {
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
  return toBase64({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

/** An OpenSSL key in place of the key store's. */
class TestKey : public OpenSSLCryptoKeyRSA, public PublicKeyText {
 public:
  explicit TestKey(EVP_PKEY* key) : OpenSSLCryptoKeyRSA(key), key_(key) { ++testIdentity().keysAlive; }
  ~TestKey() override {
    --testIdentity().keysAlive;
    EVP_PKEY_free(key_);
  }
  TestKey(const TestKey&) = delete;
  TestKey& operator=(const TestKey&) = delete;

  std::string getModulusBase64() const override {
    testIdentity().onModulus();
    return numberBase64(key_, OSSL_PKEY_PARAM_RSA_N);
  }
  std::string getExponentBase64() const override { return numberBase64(key_, OSSL_PKEY_PARAM_RSA_E); }

 private:
  EVP_PKEY* key_;
};

}  // namespace

TestIdentity& testIdentity() {
  static TestIdentity instance;
  return instance;
}

void makeIdentity(const std::string& folder, const std::string& options) {
  const std::string certificate = folder + "/certificate.pem", key = folder + "/key.pem";
  const std::string command = "openssl req -x509 " + options + " -nodes -subj /CN=Signer -out " +
                              certificate + " -keyout " + key + " 2>/dev/null";
  if (std::system(command.c_str()) != 0) throw std::runtime_error(command);
  testIdentity().keyPem = tests::readFile(key);
  // The lines between the first and the last.
  const std::vector<std::string> lines = tests::lines(tests::readFile(certificate));
  testIdentity().certificateBase64 = std::accumulate(lines.begin() + 1, lines.end() - 1, std::string());
}

namespace vorn::signing_identity {

SigningKey makeKey() {
  testIdentity().onKeySetUp();
  auto key = std::make_unique<TestKey>(readKey(testIdentity().keyPem));
  const PublicKeyText& publicHalf = *key;
  return {std::move(key), publicHalf};
}

std::string encodedCertificate() {
  return testIdentity().certificateBase64;
}

}  // namespace vorn::signing_identity
