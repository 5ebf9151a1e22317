#include "selection/ScriptedSecurity.h"

#include <algorithm>
#include <cstdint>
#include <utility>

using namespace vorn;

using namespace vorn::frameworks;

namespace scripted {
namespace {

template <CFTypeID type>
struct Named final : Object {
  static constexpr CFTypeID kType = type;
  explicit Named(Identity script) : Object(type), identity(std::move(script)) {}
  const Identity identity;
};
using Certificate = Named<kTypeCertificate>;
using Key = Named<kTypeKey>;
using Person = Named<kTypeIdentity>;

struct Transform final : Object {
  static constexpr CFTypeID kType = kTypeTransform;
  explicit Transform(std::string transformKind) : Object(kType), kind(std::move(transformKind)) {}
  const std::string kind;
  std::string input;
};

/** Plays a step's error; false when the step gives nothing. */
bool play(const std::string& step, CFErrorRef& error) {
  error = nullptr;
  if (const auto failing = script().errors.find(step); failing != script().errors.end())
    error = handOver<CFErrorRef>(Owned<Error>(new Error(failing->second, script().errorText, "")));
  return std::find(script().empty.begin(), script().empty.end(), step) == script().empty.end();
}

SecTransformRef createTransform(const std::string& kind, CFErrorRef& error) {
  return play(kind + " create", error) ? asRef<SecTransformRef>(new Transform(kind)) : nullptr;
}

}  // namespace

Value text(const std::string& utf8) {
  return [utf8] { return Owned<>(makeString(utf8)); };
}
Value number(double value) {
  return [value] { return Owned<>(makeNumber(value)); };
}
Value integer(std::int32_t value) {
  return [value] { return Owned<>(makeNumber(value)); };
}
Value data(const std::string& bytes) {
  return [bytes] {
    return Owned<>(makeData({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}));
  };
}
Value list(const std::vector<Value>& elements) {
  return [elements] {
    std::vector<Owned<>> made;
    for (const Value& element : elements) made.push_back(element());
    return Owned<>(makeArray(std::move(made)));
  };
}
Value property(const Value& type, const Value& label, const Value& value) {
  return [=] {
    std::vector<Entry> entries;
    if (type) entries.push_back({retained(kSecPropertyKeyType), type()});
    if (label) entries.push_back({retained(kSecPropertyKeyLabel), label()});
    if (value) entries.push_back({retained(kSecPropertyKeyValue), value()});
    return Owned<>(makeDictionary(std::move(entries)));
  };
}

Script& script() {
  static auto* const instance = new Script();
  return *instance;
}

std::string nameOf(SecCertificateRef certificate) {
  const auto* object = objectCast<Certificate>(certificate);
  return object != nullptr ? object->identity.name : "";
}
std::string nameOf(SecKeyRef key) {
  const auto* object = objectCast<Key>(key);
  return object != nullptr ? object->identity.name : "";
}
SecCertificateRef makeCertificate() {
  return asRef<SecCertificateRef>(new Certificate(script().identities.at(0)));
}
SecKeyRef makeKey() {
  return asRef<SecKeyRef>(new Key(script().identities.at(0)));
}

}  // namespace scripted

using namespace scripted;

extern "C" {

CFStringRef SecCopyErrorMessageString(OSStatus, void*) {
  return nullptr;
}

OSStatus SecItemCopyMatching(CFDictionaryRef, CFTypeRef* result) {
  ++script().searches;
  std::vector<Value> people;
  for (const Identity& identity : script().identities)
    people.push_back([identity] { return Owned<>(new Person(identity)); });
  *result = script().searchStatus == errSecSuccess ? handOver<CFTypeRef>(list(people)()) : nullptr;
  return script().searchStatus;
}

OSStatus SecIdentityCopyCertificate(SecIdentityRef identity, SecCertificateRef* certificate) {
  const auto* person = objectCast<Person>(identity);
  if (person->identity.certificateStatus == errSecSuccess)
    *certificate = asRef<SecCertificateRef>(new Certificate(person->identity));
  return person->identity.certificateStatus;
}

OSStatus SecIdentityCopyPrivateKey(SecIdentityRef identity, SecKeyRef* privateKey) {
  const auto* person = objectCast<Person>(identity);
  if (person->identity.keyStatus == errSecSuccess) *privateKey = asRef<SecKeyRef>(new Key(person->identity));
  return person->identity.keyStatus;
}

CFDictionaryRef SecCertificateCopyValues(SecCertificateRef certificate, CFArrayRef keys, CFErrorRef*) {
  const Identity& identity = objectCast<Certificate>(certificate)->identity;
  std::vector<Entry> entries;
  for (CFIndex i = 0; i < CFArrayGetCount(keys); ++i) {
    const auto key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(keys, i));
    const auto found = identity.values.find(std::string(utf8Of(key)));
    if (found != identity.values.end() && found->second) entries.push_back({retained(key), found->second()});
  }
  return identity.hasValues ? handOver<CFDictionaryRef>(makeDictionary(std::move(entries))) : nullptr;
}

OSStatus SecCertificateCopyEmailAddresses(SecCertificateRef certificate, CFArrayRef* emails) {
  const Identity& identity = objectCast<Certificate>(certificate)->identity;
  if (identity.emailStatus == errSecSuccess) *emails = handOver<CFArrayRef>(list(identity.emails)());
  return identity.emailStatus;
}

CFDataRef SecCertificateCopyData(SecCertificateRef certificate) {
  return handOver<CFDataRef>(data(objectCast<Certificate>(certificate)->identity.name)());
}

OSStatus SecCertificateCopyPublicKey(SecCertificateRef certificate, SecKeyRef* key) {
  if (script().publicKeyStatus == errSecSuccess)
    *key = asRef<SecKeyRef>(new Key(objectCast<Certificate>(certificate)->identity));
  return script().publicKeyStatus;
}

OSStatus SecKeyGetCSSMKey(SecKeyRef key, const CSSM_KEY** cssmKey) {
  static CSSM_KEY description;
  if (key == nullptr) return errSecInvalidItemRef;
  description.KeyData.Length = script().publicKey.size();
  description.KeyData.Data = script().publicKey.data();
  *cssmKey = &description;
  return script().cssmStatus;
}

SecTransformRef SecEncodeTransformCreate(CFTypeRef, CFErrorRef* error) {
  return createTransform("encode", *error);
}

SecTransformRef SecSignTransformCreate(SecKeyRef, CFErrorRef* error) {
  return createTransform("sign", *error);
}

Boolean SecTransformSetAttribute(SecTransformRef transform, CFStringRef key, CFTypeRef value,
                                 CFErrorRef* error) {
  auto* object = objectCast<Transform>(transform);
  if (CFEqual(key, kSecTransformInputAttributeName)) {
    const auto bytes = bytesOf(static_cast<CFDataRef>(value));
    object->input.assign(bytes.begin(), bytes.end());
  }
  return play(object->kind + " " + std::string(utf8Of(key)), *error);
}

CFTypeRef SecTransformExecute(SecTransformRef transform, CFErrorRef* error) {
  const auto* object = objectCast<Transform>(transform);
  const std::string& result = object->kind == "sign" ? script().signature : script().encoded;
  return play(object->kind + " execute", *error)
             ? handOver<CFTypeRef>(data(result.empty() ? object->kind + "(" + object->input + ")" : result)())
             : nullptr;
}

CFAbsoluteTime __wrap_CFAbsoluteTimeGetCurrent() {  // NOLINT(bugprone-reserved-identifier)
  return script().now;
}
}
