#include "mac/app/KeychainCryptoKeyRSA.h"

#include <array>
#include <functional>
#include <xsec/enc/XSECCryptoException.hpp>

#include "selection/SelectionFixture.h"

using namespace scripted;

namespace {

/** "type message" of the XSECCryptoException that `body` throws; empty when it throws none. */
std::string failureOf(const std::function<void()>& body) {
  try {
    body();
    return "";
  } catch (const XSECCryptoException& failure) {
    return (failure.getType() == XSECCryptoException::UnsupportedError ? "unsupported "
            : failure.getType() == XSECCryptoException::RSAError       ? "rsa "
                                                                       : "other ") +
           std::string(failure.getMsg());
  }
}

class KeychainCryptoKeyRSATest : public SelectionFixture {
 protected:
  void SetUp() override {
    SelectionFixture::SetUp();
    script().identities = {matching()};
    script().publicKey = {0x30, 9, 2, 3, 0x00, 0x81, 0x02, 2, 1, 3};
    certificate_ = CFRef<SecCertificateRef>::adopt(makeCertificate());
    privateKey_ = CFRef<SecKeyRef>::adopt(makeKey());
  }
  void TearDown() override {
    certificate_.reset();
    privateKey_.reset();
    SelectionFixture::TearDown();
  }

  KeychainCryptoKeyRSA makeKeyRSA() { return {certificate_.get(), privateKey_.get()}; }

  unsigned sign(XSECCryptoHash::HashType hashType = XSECCryptoHash::HASH_SHA256, unsigned bufferSize = 64) {
    std::string hash = "digest";
    buffer_.fill('#');
    return makeKeyRSA().signSHA1PKCS1Base64Signature(reinterpret_cast<unsigned char*>(hash.data()),
                                                     static_cast<unsigned>(hash.size()), buffer_.data(),
                                                     bufferSize, hashType);
  }

  CFRef<SecCertificateRef> certificate_;
  CFRef<SecKeyRef> privateKey_;
  std::array<char, 64> buffer_{};
};

TEST_F(KeychainCryptoKeyRSATest, HandsTheDigestToTheKeyStore) {
  const struct {
    XSECCryptoHash::HashType hashType;
    std::string type;
    std::string bits;
  } cases[] = {
      {XSECCryptoHash::HASH_NONE, "null", "-1"},
      {XSECCryptoHash::HASH_SHA1, "SHA1 Digest", "160"},
      {XSECCryptoHash::HASH_MD5, "null", "-1"},
      {XSECCryptoHash::HASH_SHA224, "null", "-1"},
      {XSECCryptoHash::HASH_SHA256, "SHA2 Digest Family", "256"},
      {XSECCryptoHash::HASH_SHA384, "null", "-1"},
      {XSECCryptoHash::HASH_SHA512, "SHA2 Digest Family", "512"},
  };
  for (const auto& test : cases) {
    script().steps.clear();
    const std::string signature = "encode(sign(digest))";
    ASSERT_EQ(sign(test.hashType), signature.size());
    EXPECT_EQ(std::string(buffer_.data(), signature.size() + 1), signature + '#')
        << "no zero byte is written";
    const std::vector<std::string> expected = {"sign create jane",
                                               "sign INPUT=<digest>",
                                               "sign InputIs=Digest",
                                               "sign SecPaddingKey=SecPaddingPKCS1Key",
                                               "sign Digest Type=" + test.type,
                                               "sign Digest Length=" + test.bits,
                                               "sign execute",
                                               "encode create base64",
                                               "encode INPUT=<sign(digest)>",
                                               "encode execute"};
    EXPECT_EQ(script().steps, expected);
  }
}

TEST_F(KeychainCryptoKeyRSATest, NamesTheStepThatFailed) {
  const std::string prefix = "rsa KeychainCryptoKeyRSA - ";
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
  EXPECT_EQ(sign(XSECCryptoHash::HASH_SHA1, 20), 20U);
  EXPECT_EQ(failureOf([&] { sign(XSECCryptoHash::HASH_SHA1, 19); }),
            "rsa KeychainCryptoKeyRSA - Signature of 20 characters is longer than the buffer of 19");
  EXPECT_EQ(buffer_[0], '#');
}

TEST_F(KeychainCryptoKeyRSATest, RefusesEverythingButSigning) {
  KeychainCryptoKeyRSA key = makeKeyRSA();
  unsigned char bytes[1] = {};
  const std::pair<const char*, std::function<void()>> cases[] = {
      {"clone", [&] { key.clone(); }},
      {"verifySHA1PKCS1Base64Signature",
       [&] { key.verifySHA1PKCS1Base64Signature(bytes, 1, "", 0, XSECCryptoHash::HASH_SHA1); }},
      {"privateDecrypt",
       [&] {
         key.privateDecrypt(bytes, bytes, 1, 1, XSECCryptoKeyRSA::PAD_PKCS_1_5, nullptr, nullptr, nullptr, 0);
       }},
      {"publicEncrypt",
       [&] {
         key.publicEncrypt(bytes, bytes, 1, 1, XSECCryptoKeyRSA::PAD_PKCS_1_5, nullptr, nullptr, nullptr, 0);
       }},
      {"getLength", [&] { key.getLength(); }},
      {"loadPublicModulusBase64BigNums", [&] { key.loadPublicModulusBase64BigNums("", 0); }},
      {"loadPublicExponentBase64BigNums", [&] { key.loadPublicExponentBase64BigNums("", 0); }},
  };
  for (const auto& [name, call] : cases) {
    EXPECT_EQ(failureOf(call),
              "unsupported KeychainCryptoKeyRSA::" + std::string(name) + "() is not implemented");
  }
}

TEST_F(KeychainCryptoKeyRSATest, SaysWhatItIs) {
  EXPECT_EQ(makeKeyRSA().getKeyType(), XSECCryptoKey::KEY_RSA_PRIVATE);
  EXPECT_EQ(KeychainCryptoKeyRSA(certificate_.get(), nullptr).getKeyType(), XSECCryptoKey::KEY_NONE);
  EXPECT_EQ(std::u16string(makeKeyRSA().getProviderName()), u"Keychain Provider");
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
  const std::string unreadable =
      "rsa KeychainCryptoKeyRSA - The certificate's public key cannot be read as an RSA key";
  const struct {
    OSStatus publicKeyStatus;
    OSStatus cssmStatus;
    std::vector<std::uint8_t> der;
  } cases[] = {
      {errSecInvalidItemRef, errSecSuccess, script().publicKey},
      {errSecSuccess, errSecInvalidItemRef, script().publicKey},
      {errSecSuccess, errSecSuccess, {}},
      {errSecSuccess, errSecSuccess, {0x31, 6, 2, 1, 0x81, 2, 1, 3}},
      {errSecSuccess, errSecSuccess, {0x30, 6, 4, 1, 0x81, 2, 1, 3}},
      {errSecSuccess, errSecSuccess, {0x30, 6, 2, 1, 0x81, 3, 1, 3}},
      {errSecSuccess, errSecSuccess, {0x30, 6, 2, 0, 0x00, 2, 1, 3}},
      {errSecSuccess, errSecSuccess, {0x30, 6, 2, 0xFF, 0x81, 2, 1, 3}},
      {errSecSuccess, errSecSuccess, {0x30, 6, 2, 0x89, 1, 0, 0, 0, 0, 0, 0, 0, 1, 0x81, 2, 1, 3}},
      {errSecSuccess,
       errSecSuccess,
       {0x30, 6, 2, 0x88, 255, 255, 255, 255, 255, 255, 255, 255, 0x81, 2, 1, 3}},
  };
  for (const auto& test : cases) {
    script().publicKeyStatus = test.publicKeyStatus;
    script().cssmStatus = test.cssmStatus;
    script().publicKey = test.der;
    const KeychainCryptoKeyRSA key = makeKeyRSA();
    EXPECT_EQ(failureOf([&] { key.getModulusBase64(); }), unreadable);
    EXPECT_EQ(failureOf([&] { key.getExponentBase64(); }), unreadable);
  }
  script().publicKeyStatus = errSecItemNotFound;
  EXPECT_EQ(failureOf([&] { makeKeyRSA(); }),
            "rsa KeychainCryptoKeyRSA - No public key found in certificate");
}

}  // namespace
