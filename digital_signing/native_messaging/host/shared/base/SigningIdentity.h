#pragma once

#include <memory>
#include <string>
#include <utility>
#include <xsec/enc/XSECCryptoException.hpp>
#include <xsec/enc/XSECCryptoKeyRSA.hpp>

namespace vorn {

/** The public half of a key as base64 of the big-endian magnitudes. Throws
 * XSECCryptoException when there is none. */
class PublicKeyText {
 public:
  virtual ~PublicKeyText() = default;
  virtual std::string getModulusBase64() const = 0;
  virtual std::string getExponentBase64() const = 0;
};

/** The key store has not signed, and it is known why: a word of namespace reason. */
class KeyRefusedException : public XSECCryptoException {
 public:
  KeyRefusedException(const std::string& message, std::string reason)
      : XSECCryptoException(RSAError, message.c_str()), reason_(std::move(reason)) {}

  const std::string& reason() const { return reason_; }

 private:
  std::string reason_;
};

/** A key for one signature. */
struct SigningKey {
  std::unique_ptr<XSECCryptoKeyRSA> key;
  const PublicKeyText& publicHalf; /**< lives as long as the key */
};

/** The identity that signs, which has been selected for the request. Supplied
 * by the code that knows the key store. */
namespace signing_identity {

/** Throws XSECCryptoException when the certificate has no public key. */
SigningKey makeKey();

/** The base64 text of the certificate's DER bytes. */
std::string encodedCertificate();

}  // namespace signing_identity

}  // namespace vorn
