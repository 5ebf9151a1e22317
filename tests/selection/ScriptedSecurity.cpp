#include "selection/ScriptedSecurity.h"

#include <Security/SecEncodeTransform.h>
#include <Security/SecSignVerifyTransform.h>
#include <Security/SecTransform.h>

#include <algorithm>
#include <utility>

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

std::string bytesText(CFTypeRef object) {
  const auto bytes = bytesOf(static_cast<CFDataRef>(object));
  return {bytes.begin(), bytes.end()};
}

/** Any object in short, for records. */
std::string describe(CFTypeRef object) {
  if (object == nullptr) {
    return "null";
  }
  switch (CFGetTypeID(object)) {
    case kTypeString:
      return std::string(utf8Of(object));
    case kTypeData:
      return std::string("<").append(bytesText(object)).append(">");
    case kTypeBoolean:
      return object == kCFBooleanTrue ? "true" : "false";
    default: {
      long value = 0;
      return CFNumberGetValue(static_cast<CFNumberRef>(object), kCFNumberLongType, &value)
                 ? std::to_string(value)
                 : "?";
    }
  }
}

/** Writes the step down and plays its error; false when the step gives nothing. */
bool play(const std::string& step, const std::string& record, CFErrorRef& error) {
  script().steps.push_back(record);
  error = nullptr;
  for (const auto& [failing, code] : script().errors) {
    if (failing == record || failing == step) {
      error = handOver<CFErrorRef>(Owned<Error>(new Error(code, script().errorText)));
    }
  }
  return std::find(script().empty.begin(), script().empty.end(), step) == script().empty.end();
}

SecTransformRef createTransform(const std::string& kind, const std::string& argument, CFErrorRef& error) {
  const std::string step = kind + " create";
  return play(step, step + " " + argument, error) ? asRef<SecTransformRef>(new Transform(kind)) : nullptr;
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

OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef* result) {
  ++script().searches;
  script().query.clear();
  for (const auto& [key, value] : objectCast<Dictionary>(query)->pairs()) {
    script().query.push_back(describe(key) + "=" + describe(value));
  }
  const Owned<String> equalKey = makeString(utf8Of(kSecMatchLimit));
  script().queryComparesAddresses = CFDictionaryGetValue(query, equalKey.get()) == nullptr;
  std::vector<Value> people;
  for (const Identity& identity : script().identities) {
    people.push_back([identity] { return Owned<>(new Person(identity)); });
  }
  const bool returns = script().searchStatus == errSecSuccess || script().searchFailsWithResult;
  const Value value = script().searchResult ? script().searchResult : list(people);
  *result = returns ? handOver<CFTypeRef>(value()) : nullptr;
  return script().searchStatus;
}

OSStatus SecIdentityCopyCertificate(SecIdentityRef identity, SecCertificateRef* certificate) {
  const auto* person = objectCast<Person>(identity);
  if (person == nullptr) {
    return errSecParam;
  }
  if (person->identity.certificateStatus == errSecSuccess) {
    *certificate = asRef<SecCertificateRef>(new Certificate(person->identity));
  }
  return person->identity.certificateStatus;
}

OSStatus SecIdentityCopyPrivateKey(SecIdentityRef identity, SecKeyRef* privateKey) {
  const auto* person = objectCast<Person>(identity);
  if (person->identity.keyStatus == errSecSuccess) {
    *privateKey = asRef<SecKeyRef>(new Key(person->identity));
  }
  return person->identity.keyStatus;
}

CFDictionaryRef SecCertificateCopyValues(SecCertificateRef certificate, CFArrayRef keys, CFErrorRef*) {
  const Identity& identity = objectCast<Certificate>(certificate)->identity;
  std::vector<Entry> entries;
  script().requestedValues.clear();
  for (CFIndex i = 0; i < CFArrayGetCount(keys); ++i) {
    const auto key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(keys, i));
    const std::string oid(utf8Of(key));
    script().requestedValues.push_back(oid);
    const auto found = identity.values.find(oid);
    if (found != identity.values.end() && found->second) {
      entries.push_back({retained(key), found->second()});
    }
  }
  return identity.hasValues ? handOver<CFDictionaryRef>(makeDictionary(std::move(entries))) : nullptr;
}

OSStatus SecCertificateCopyEmailAddresses(SecCertificateRef certificate, CFArrayRef* emails) {
  const Identity& identity = objectCast<Certificate>(certificate)->identity;
  if (identity.emailStatus == errSecSuccess) {
    *emails = handOver<CFArrayRef>(list(identity.emails)());
  }
  return identity.emailStatus;
}

CFDataRef SecCertificateCopyData(SecCertificateRef certificate) {
  const Identity& identity = objectCast<Certificate>(certificate)->identity;
  return identity.hasData ? handOver<CFDataRef>(data(identity.name)()) : nullptr;
}

OSStatus SecCertificateCopyPublicKey(SecCertificateRef certificate, SecKeyRef* key) {
  if (script().publicKeyStatus == errSecSuccess) {
    *key = asRef<SecKeyRef>(new Key(objectCast<Certificate>(certificate)->identity));
  }
  return script().publicKeyStatus;
}

OSStatus SecKeyGetCSSMKey(SecKeyRef key, const CSSM_KEY** cssmKey) {
  static CSSM_KEY description;
  if (key == nullptr) {
    return errSecInvalidItemRef;
  }
  description.KeyData.Length = script().publicKey.size();
  description.KeyData.Data = script().publicKey.data();
  *cssmKey = &description;
  return script().cssmStatus;
}

SecTransformRef SecEncodeTransformCreate(CFTypeRef encodeType, CFErrorRef* error) {
  return createTransform("encode", describe(encodeType), *error);
}

SecTransformRef SecSignTransformCreate(SecKeyRef key, CFErrorRef* error) {
  return createTransform("sign", nameOf(key), *error);
}

Boolean SecTransformSetAttribute(SecTransformRef transform, CFStringRef key, CFTypeRef value,
                                 CFErrorRef* error) {
  auto* object = objectCast<Transform>(transform);
  const std::string step = object->kind + " " + std::string(utf8Of(key));
  if (CFEqual(key, kSecTransformInputAttributeName)) {
    object->input = bytesText(value);
  }
  return play(step, step + "=" + describe(value), *error);
}

CFTypeRef SecTransformExecute(SecTransformRef transform, CFErrorRef* error) {
  const auto* object = objectCast<Transform>(transform);
  const std::string step = object->kind + " execute";
  const std::string& result = object->kind == "sign" ? script().signature : script().encoded;
  return play(step, step, *error)
             ? handOver<CFTypeRef>(data(result.empty() ? object->kind + "(" + object->input + ")" : result)())
             : nullptr;
}

CFAbsoluteTime __wrap_CFAbsoluteTimeGetCurrent() {  // NOLINT(bugprone-reserved-identifier)
  return script().now;
}
}
