#pragma once

#include <memory>

#include "Security/SecBase.h"
#include "Security/cssmtype.h"
#include "linux/frameworks/CoreFoundation/CFInternal.h"
#include "linux/frameworks/Security/X509Certificate.h"

/** The objects behind the mirrored types of Security. */
namespace vorn::frameworks {

class TokenKey;

/** What functions that were written in C++ return for a missing out-parameter; it has no name in the
 * interface. */
inline constexpr OSStatus kInvalidPointer = 4;

class Certificate final : public Object {
 public:
  static constexpr CFTypeID kType = kTypeCertificate;

  /** Null when the bytes are no certificate. */
  static Owned<Certificate> make(std::vector<std::uint8_t> der);

  der::Bytes bytes() const { return der_; }
  const x509::Certificate& fields() const { return fields_; }
  bool equals(const Object& other) const override {
    return der_ == static_cast<const Certificate&>(other).der_;
  }

 private:
  Certificate(std::vector<std::uint8_t> der, x509::Certificate fields)
      : Object(kType), der_(std::move(der)), fields_(std::move(fields)) {}

  const std::vector<std::uint8_t> der_;
  /** Views into der_. */
  const x509::Certificate fields_;
};

class Key : public Object {
 public:
  static constexpr CFTypeID kType = kTypeKey;

  /** Null for a key that cannot be described so. */
  virtual const CSSM_KEY* cssmKey() const { return nullptr; }
  /** Null for a public key. */
  virtual const TokenKey* tokenKey() const { return nullptr; }

 protected:
  Key() : Object(kType) {}
};

/** The key in a certificate. */
class PublicKey final : public Key {
 public:
  explicit PublicKey(const x509::Certificate& certificate);

  const CSSM_KEY* cssmKey() const override { return valid_ ? &cssmKey_ : nullptr; }

 private:
  std::vector<std::uint8_t> data_;
  CSSM_KEY cssmKey_{};
  bool valid_ = true;
};

/** A key in a token. */
class PrivateKey final : public Key {
 public:
  explicit PrivateKey(std::shared_ptr<const TokenKey> key) : key_(std::move(key)) {}

  const TokenKey* tokenKey() const override { return key_.get(); }

 private:
  const std::shared_ptr<const TokenKey> key_;
};

class Identity final : public Object {
 public:
  static constexpr CFTypeID kType = kTypeIdentity;

  Identity(Owned<Certificate> certificate, Owned<Key> key)
      : Object(kType), certificate_(std::move(certificate)), key_(std::move(key)) {}

  const Certificate& certificate() const { return *certificate_; }
  const Key& key() const { return *key_; }

 private:
  const Owned<Certificate> certificate_;
  const Owned<Key> key_;
};

}  // namespace vorn::frameworks
