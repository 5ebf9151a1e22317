#pragma once

#include <cstdint>
#include <string>

#include "Security/SecBase.h"
#include "Security/cssmtype.h"
#include "linux/frameworks/CoreFoundation/CFInternal.h"
#include "linux/frameworks/Security/RemoteKey.h"
#include "linux/x509/X509Certificate.h"

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

  /** Null for a key that cannot be described so. */
  virtual const CSSM_KEY* cssmKey() const { return nullptr; }
  /** Null for a public key. */
  virtual const RemoteKey* remoteKey() const { return nullptr; }

 protected:
  Key() : Object(kType) {}
};

class PublicKey final : public Key {
 public:
  explicit PublicKey(const x509::Certificate& certificate)
      : data_(certificate.publicKey.begin(), certificate.publicKey.end()),
        cssmKey_{{data_.size(), data_.data()}},
        isRsa_(certificate.isRsa) {}

  const CSSM_KEY* cssmKey() const override { return isRsa_ ? &cssmKey_ : nullptr; }

 private:
  std::vector<std::uint8_t> data_;
  const CSSM_KEY cssmKey_;
  const bool isRsa_;
};

class PrivateKey final : public Key {
 public:
  explicit PrivateKey(const jsonxx::Object& identity) : key_(identity) {}

  const RemoteKey* remoteKey() const override { return &key_; }

 private:
  const RemoteKey key_;
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

/** Keeps the text for SecCopyErrorMessageString; returns the status. */
OSStatus failWith(OSStatus status, std::string text);

}  // namespace vorn::frameworks
