#include "mac/app/KeychainCryptoKeyRSA.h"

#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <xsec/enc/XSECCryptoException.hpp>

#include "selection/SelectionFixture.h"
#include "shared/base/SignatureAlgorithm.h"

using namespace vorn;

using namespace scripted;

namespace {

/** The message of the XSECCryptoException that `body` throws; empty when it throws none. */
std::string failureOf(const std::function<void()>& body) {
  try {
    body();
    return "";
  } catch (const XSECCryptoException& failure) {
    EXPECT_EQ(failure.getType(), XSECCryptoException::RSAError);
    return failure.getMsg();
  }
}

/** A key that really signs; of 1024 bits, as it has to be made anew in each run. */
class SigningKey {
 public:
  std::vector<std::uint8_t> publicKey() const {
    unsigned char* der = nullptr;
    const int length = i2d_PublicKey(key_.get(), &der);
    std::vector<std::uint8_t> bytes(der, der + length);
    OPENSSL_free(der);
    return bytes;
  }

  std::string sign(const std::string& digest, XSECCryptoHash::HashType hashType) const {
    const EVP_MD* algorithm = EVP_md5();
#define VORN_ROW(name, method, digestUri, hash, family, bits, evp) \
  if (hashType == XSECCryptoHash::hash) algorithm = evp();
    VORN_SIGNATURE_ALGORITHMS(VORN_ROW)
#undef VORN_ROW
    const std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)> context(
        EVP_PKEY_CTX_new(key_.get(), nullptr), &EVP_PKEY_CTX_free);
    std::string signature(kLength, '\0');
    std::size_t length = signature.size();
    EVP_PKEY_sign_init(context.get());
    EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING);
    EVP_PKEY_CTX_set_signature_md(context.get(), algorithm);
    EVP_PKEY_sign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &length,
                  reinterpret_cast<const unsigned char*>(digest.data()), digest.size());
    return signature;
  }

 private:
  static constexpr std::size_t kLength = 128;
  std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key_{EVP_RSA_gen(8 * kLength), &EVP_PKEY_free};
};

class KeychainCryptoKeyRSATest : public SelectionFixture {
 protected:
  void SetUp() override {
    SelectionFixture::SetUp();
    script().identities = {matching()};
    script().publicKey = signingKey().publicKey();
    certificate_ = CFRef<SecCertificateRef>::adopt(makeCertificate());
    privateKey_ = CFRef<SecKeyRef>::adopt(makeKey());
  }
  void TearDown() override {
    certificate_.reset();
    privateKey_.reset();
    SelectionFixture::TearDown();
  }

  KeychainCryptoKeyRSA makeKeyRSA() { return {certificate_.get(), privateKey_.get()}; }

  static const SigningKey& signingKey() {
    static const SigningKey key;
    return key;
  }

  static std::string digestFor(XSECCryptoHash::HashType hashType) {
    const std::size_t lengths[] = {6, 20, 16, 28, 32, 48, 64};
    std::string digest = "digest";
    digest.resize(lengths[hashType], '.');
    return digest;
  }

  unsigned sign(XSECCryptoHash::HashType hashType = XSECCryptoHash::HASH_SHA256,
                unsigned bufferSize = kRoom) {
    if (!hasOwnSignature_) script().signature = signingKey().sign(digestFor(hashType), hashType);
    std::string hash = digestFor(hashType);
    buffer_.fill('#');
    return makeKeyRSA().signSHA1PKCS1Base64Signature(reinterpret_cast<unsigned char*>(hash.data()),
                                                     static_cast<unsigned>(hash.size()), buffer_.data(),
                                                     bufferSize, hashType);
  }

  CFRef<SecCertificateRef> certificate_;
  CFRef<SecKeyRef> privateKey_;
  static constexpr unsigned kRoom = 256;
  std::array<char, kRoom> buffer_{};
  /** Whether the test scripts the signature by itself. */
  bool hasOwnSignature_ = false;
};

const std::string kNotVerified =
    "KeychainCryptoKeyRSA - Signature does not verify with the certificate's public key";

TEST_F(KeychainCryptoKeyRSATest, NamesTheStepThatFailed) {
  const std::string prefix = "KeychainCryptoKeyRSA - ";
  const struct {
    const char* step;
    std::string message;
    /** When the step gives nothing, but no error either. */
    std::string withoutError;
  } cases[] = {
      {"sign create", "Failed to create signer. ", prefix + "Failed to create signer. "},
      {"sign INPUT", "Failed to configure input of signer. ", ""},
      {"sign InputIs", "Failed to configure input type of signer. ", ""},
      {"sign SecPaddingKey", "Failed to configure padding of signer. ", ""},
      {"sign Digest Type", "Failed to configure digest type of signer. ", ""},
      {"sign Digest Length", "Failed to configure digest length of signer. ", ""},
      {"sign execute", "Failed to sign data. ", prefix + "Signature is null. "},
      {"encode create", "Failed to create Base64 encoder. ", prefix + "Failed to create Base64 encoder. "},
      {"encode INPUT", "Failed to configure input of Base64 encoder. ", ""},
      {"encode execute", "Failed to Base64 encode signature data. ", ""},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.step);
    script().errors = {{test.step, 6}};
    for (const auto& empty : {std::vector<std::string>{}, {test.step}}) {
      script().empty = empty;
      EXPECT_EQ(failureOf([&] { sign(); }), prefix + test.message + "out of order");
    }
    script().errors.clear();
    EXPECT_EQ(failureOf([&] { sign(); }), test.withoutError);
  }
  script().empty = {"encode execute"};
  EXPECT_EQ(sign(), 0U);

  script().errors = {{"sign execute", 6}};
  script().errorText = std::string(1022, 'e') + "\xC3\xA9";
  EXPECT_EQ(failureOf([&] { sign(); }), prefix + "Failed to sign data. " + std::string(1022, 'e'));
}

TEST_F(KeychainCryptoKeyRSATest, DoesNotWriteBeyondTheBuffer) {
  script().encoded = std::string(20, 'A');
  EXPECT_EQ(sign(XSECCryptoHash::HASH_SHA1, 20), 20U);
  EXPECT_EQ(std::string(buffer_.data(), 21), script().encoded + '#') << "no zero byte is written";
  EXPECT_EQ(failureOf([&] { sign(XSECCryptoHash::HASH_SHA1, 19); }),
            "KeychainCryptoKeyRSA - Signature of 20 characters is longer than the buffer of 19");
  EXPECT_EQ(buffer_[0], '#');
}

TEST_F(KeychainCryptoKeyRSATest, HandsOutNoSignatureThatDoesNotVerify) {
  const auto kind = XSECCryptoHash::HASH_SHA256;
  const std::string good = signingKey().sign(digestFor(kind), kind);
  std::string changed = good;
  changed.back() = static_cast<char>(changed.back() ^ 1);
  hasOwnSignature_ = true;
  for (const std::string& signature :
       {SigningKey().sign(digestFor(kind), kind), signingKey().sign(std::string(32, 'x'), kind),
        signingKey().sign(digestFor(XSECCryptoHash::HASH_SHA1), XSECCryptoHash::HASH_SHA1), changed,
        good.substr(1), good + '\0', std::string(128, '\xff'), std::string("garbage")}) {
    script().signature = signature;
    EXPECT_EQ(failureOf([&] { sign(kind); }), kNotVerified);
    EXPECT_EQ(buffer_[0], '#');
  }
  script().signature = good;
  EXPECT_GT(sign(kind), 0U);
  EXPECT_EQ(failureOf([&] { sign(XSECCryptoHash::HASH_MD5); }), kNotVerified) << "cannot be checked";
  // A key that is none: an even modulus, an exponent of zero, no numbers at all.
  for (const std::vector<std::uint8_t>& der :
       {std::vector<std::uint8_t>{0x30, 6, 2, 1, 0x40, 2, 1, 3}, {0x30, 6, 2, 1, 0x41, 2, 1, 0}, {0x30, 0}}) {
    script().publicKey = der;
    EXPECT_NE(failureOf([&] { sign(kind); }), "");
  }
}

TEST_F(KeychainCryptoKeyRSATest, ReadsThePublicKey) {
  std::vector<std::uint8_t> key2048 = {0x30, 0x82, 0x01, 0x0A, 0x02, 0x82, 0x01, 0x01, 0x00};
  key2048.insert(key2048.end(), 256, 0xFF);
  key2048.insert(key2048.end(), {0x02, 0x03, 0x01, 0x00, 0x01});
  // The one byte 0x80 is a length here, not the mark of an indefinite one.
  std::vector<std::uint8_t> key1024 = {0x30, 0x81, 0x85, 0x02, 0x80};
  key1024.insert(key1024.end(), 128, 0xFF);
  key1024.insert(key1024.end(), {0x02, 0x01, 0x03});
  const struct {
    std::vector<std::uint8_t> der;
    std::string modulus;
    std::string exponent;
  } cases[] = {
      {key2048, std::string(341, '/') + "w==", "AQAB"},
      {key1024, std::string(170, '/') + "8=", "Aw=="},
      {{0x30, 6, 2, 1, 0x81, 2, 1, 3}, "gQ==", "Aw=="},
      // The length of the whole is not looked at.
      {{0x30, 0x89, 255, 255, 255, 255, 255, 255, 255, 255, 255, 2, 1, 0x81, 2, 1, 3}, "gQ==", "Aw=="},
  };
  for (const auto& test : cases) {
    script().publicKey = test.der;
    const KeychainCryptoKeyRSA key = makeKeyRSA();
    EXPECT_EQ(key.getModulusBase64(), test.modulus);
    EXPECT_EQ(key.getExponentBase64(), test.exponent);
    // Whatever is missing at the end, nothing behind it is read and nothing of it is kept.
    for (std::size_t size = 0; size < test.der.size(); ++size) {
      script().publicKey.assign(test.der.begin(), test.der.begin() + static_cast<std::ptrdiff_t>(size));
      script().publicKey.shrink_to_fit();
      EXPECT_THROW(makeKeyRSA().getModulusBase64(), XSECCryptoException) << size;
    }
  }
}

TEST_F(KeychainCryptoKeyRSATest, GoesWithoutAPublicKeyThatItCannotRead) {
  const auto expectUnreadable = [this] {
    const KeychainCryptoKeyRSA key = makeKeyRSA();
    const char* const failure =
        "KeychainCryptoKeyRSA - The certificate's public key cannot be read as an RSA key";
    EXPECT_EQ(failureOf([&] { key.getModulusBase64(); }), failure);
    EXPECT_EQ(failureOf([&] { key.getExponentBase64(); }), failure);
  };
  script().cssmStatus = errSecInvalidItemRef;
  expectUnreadable();
  script().cssmStatus = errSecSuccess;
  script().publicKeyStatus = errSecInvalidItemRef;
  expectUnreadable();
  script().publicKeyStatus = errSecSuccess;
  for (const std::vector<std::uint8_t>& der :
       {std::vector<std::uint8_t>{},
        {0x31, 6, 2, 1, 0x81, 2, 1, 3},
        {0x30, 6, 4, 1, 0x81, 2, 1, 3},
        {0x30, 6, 2, 1, 0x81, 3, 1, 3},
        {0x30, 6, 2, 0, 0x00, 2, 1, 3},
        {0x30, 6, 2, 0xFF, 0x81, 2, 1, 3},
        {0x30, 6, 2, 0x89, 1, 0, 0, 0, 0, 0, 0, 0, 1, 0x81, 2, 1, 3},
        {0x30, 6, 2, 0x88, 255, 255, 255, 255, 255, 255, 255, 255, 0x81, 2, 1, 3}}) {
    script().publicKey = der;
    expectUnreadable();
  }
  script().publicKeyStatus = errSecItemNotFound;
  EXPECT_EQ(failureOf([&] { makeKeyRSA(); }), "KeychainCryptoKeyRSA - No public key found in certificate");
}

}  // namespace
