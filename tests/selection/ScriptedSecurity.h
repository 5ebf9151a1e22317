#pragma once

#include <Security/Security.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "linux/frameworks/CoreFoundation/CFObjects.h"

/** A Security layer that does what a script says. Linked in place of the real one; its objects are counted
 * with those of Core Foundation. */
namespace scripted {

/** Makes the value of a property, anew for each caller; may be null for a property without a value. */
using Value = std::function<vorn::frameworks::Owned<>()>;

Value text(const std::string& utf8);
Value number(double value);
Value integer(std::int32_t value);
Value data(const std::string& bytes);
Value list(const std::vector<Value>& elements);
/** A property: a dictionary with the entries that are not null. */
Value property(const Value& type, const Value& label, const Value& value);
inline Value holding(const Value& value) {
  return property(nullptr, nullptr, value);
}

struct Identity {
  OSStatus certificateStatus = errSecSuccess;
  OSStatus keyStatus = errSecSuccess;
  OSStatus emailStatus = errSecSuccess;
  bool hasValues = true;
  /** What the certificate's DER bytes are, and the private key's name. */
  std::string name = "jane";
  std::vector<Value> emails = {text("jane@example.org")};
  /** From object identifier to its property; null for none. */
  std::map<std::string, Value> values;
};

struct Script {
  OSStatus searchStatus = errSecSuccess;
  std::vector<Identity> identities;

  /** Codes of the errors that steps of transforms report: "encode create", "sign INPUT", "sign execute", ...
   */
  std::map<std::string, int> errors;
  /** Steps that return null or false; with an error or without. */
  std::vector<std::string> empty;
  std::string errorText = "out of order";
  /** What signing and encoding give; "sign(<input>)" and "encode(<input>)" when empty. */
  std::string signature;
  std::string encoded;

  OSStatus publicKeyStatus = errSecSuccess;
  OSStatus cssmStatus = errSecSuccess;
  std::vector<std::uint8_t> publicKey;

  CFAbsoluteTime now = 0;

  int searches = 0;
};

/** The script at hand. */
Script& script();

/** The name of the identity that a certificate or key belongs to; empty for null. */
std::string nameOf(SecCertificateRef certificate);
std::string nameOf(SecKeyRef key);

/** A certificate and a key of the first identity, which belong to the caller. */
SecCertificateRef makeCertificate();
SecKeyRef makeKey();

}  // namespace scripted
