#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "Security/Security.h"
#include "linux/frameworks/CoreFoundation/CFObjects.h"
#include "linux/processes/StoreFacts.h"
#include "linux/x509/X509Certificate.h"
#include "shared/json/jsonxx.h"

/** The objects behind the mirrored types of Security. */
namespace vorn::frameworks {

class Certificate final : public Object {
 public:
  static constexpr CFTypeID kType = kTypeCertificate;

  /** Null when the bytes are no certificate. */
  static Owned<Certificate> make(std::vector<std::uint8_t> der);

  der::Bytes bytes() const { return der_; }
  const x509::Certificate& fields() const { return fields_; }

 private:
  Certificate(std::vector<std::uint8_t> der, x509::Certificate fields)
      : Object(kType), der_(std::move(der)), fields_(std::move(fields)) {}

  const std::vector<std::uint8_t> der_;
  /** Views into der_. */
  const x509::Certificate fields_;
};

/** A key in a certificate or in a token. */
class Key : public Object {
 public:
  static constexpr CFTypeID kType = kTypeKey;

 protected:
  Key() : Object(kType) {}
};

class PublicKey final : public Key {
 public:
  explicit PublicKey(const x509::Certificate& certificate)
      : data_(certificate.publicKey.begin(), certificate.publicKey.end()),
        cssmKey_{{data_.size(), data_.data()}},
        isRsa_(certificate.isRsa) {}

  /** Null for a key that cannot be described so. */
  const CSSM_KEY* cssmKey() const { return isRsa_ ? &cssmKey_ : nullptr; }

 private:
  std::vector<std::uint8_t> data_;
  const CSSM_KEY cssmKey_;
  const bool isRsa_;
};

/** A private key of the process for keys, known there by a number. */
class PrivateKey final : public Key {
 public:
  /** Of an identity in that process's answer. */
  explicit PrivateKey(const jsonxx::Object& identity);
  ~PrivateKey() override;

  const keys::Token& token() const { return token_; }
  bool isRsa() const { return isRsa_; }
  /** RSA only: octets in the modulus, which is the length of a signature. */
  std::size_t modulusLength() const { return modulusLength_; }

  /** Why there is no signature: the code of an error in the domain "Internal CSSM error", and NSS's name for
   * it, or, where more is known, a sentence for people and a word of namespace reason. */
  struct Refusal {
    OSStatus code;
    std::string name;
    std::string sentence;
    std::string reason = "";
  };
  /** The signature over `input` as it stands, padded by PKCS#1 v1.5 but not digested. Where the token wants
   * its PIN the user is asked for it. */
  std::variant<std::vector<std::uint8_t>, Refusal> sign(const std::vector<std::uint8_t>& input) const;

 private:
  bool findAgain() const;

  const std::string certificate_;
  const keys::Token token_;
  const bool isRsa_;
  const std::size_t modulusLength_;
  mutable int generation_;
  mutable long number_;
};

class Identity final : public Object {
 public:
  static constexpr CFTypeID kType = kTypeIdentity;

  Identity(Owned<Certificate> certificate, Owned<PrivateKey> key)
      : Object(kType), certificate_(std::move(certificate)), key_(std::move(key)) {}

  const Certificate& certificate() const { return *certificate_; }
  const PrivateKey& key() const { return *key_; }

 private:
  const Owned<Certificate> certificate_;
  const Owned<PrivateKey> key_;
};

}  // namespace vorn::frameworks
