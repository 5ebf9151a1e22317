#include "linux/frameworks/Security/KeyProcess.h"
#include "linux/frameworks/Security/SecObjects.h"

namespace vorn::frameworks {
namespace {

struct Failure {
  OSStatus status = errSecSuccess;
  std::string text;
};
thread_local Failure lastFailure;

/** Keeps the text for SecCopyErrorMessageString; returns the status. */
OSStatus failWith(OSStatus status, std::string text) {
  lastFailure = {status, std::move(text)};
  return status;
}

/** None for a query that cannot be answered. */
std::optional<jsonxx::Object> readQuery(CFDictionaryRef dictionary) {
  const auto valueOf = [&](CFStringRef key) { return CFDictionaryGetValue(dictionary, key); };
  if (!CFEqual(valueOf(kSecClass), kSecClassIdentity) || !CFEqual(valueOf(kSecMatchLimit), kSecMatchLimitAll))
    return std::nullopt;
  jsonxx::Object question("question", "identities");
  question << "signing" << (valueOf(kSecAttrCanSign) == kCFBooleanTrue);
  if (const CFTypeRef name = valueOf(kSecMatchSubjectWholeString)) question << "name" << utf8Of(name);
  return question;
}

OSStatus copyMatching(CFDictionaryRef dictionary, CFTypeRef* result) {
  auto question = readQuery(dictionary);
  if (!question) return errSecParam;
  KeyProcess& process = KeyProcess::instance();
  const auto answer = process.ask(std::move(*question));
  if (!answer) return failWith(errSecNotAvailable, process.failure());
  std::vector<Owned<>> identities;
  for (const jsonxx::Object* identity : keys::objectsIn(*answer, "identities"))
    if (auto certificate = Certificate::make(keys::fromHex(keys::textIn(*identity, "certificate"))))
      identities.emplace_back(
          new Identity(std::move(certificate), Owned<PrivateKey>(new PrivateKey(*identity))));
  if (identities.empty()) {
    const std::string advice = process.adviceOnModules();
    return advice.empty() ? failWith(static_cast<OSStatus>(keys::numberIn(*answer, "status")),
                                     keys::textIn(*answer, "text"))
                          : failWith(errSecNotAvailable, advice);
  }
  *result = handOver<CFTypeRef>(makeArray(std::move(identities)));
  return errSecSuccess;
}

}  // namespace
}  // namespace vorn::frameworks

using namespace vorn::frameworks;

CFStringRef SecCopyErrorMessageString(OSStatus status, void* /*reserved*/) {
  return guarded([&]() -> CFStringRef {
    return status != lastFailure.status ? nullptr : handOver<CFStringRef>(makeString(lastFailure.text));
  });
}

OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef* result) {
  *result = nullptr;
  try {
    return copyMatching(query, result);
  } catch (const std::bad_alloc&) {
    return errSecAllocate;
  } catch (...) {
    return errSecInternalComponent;
  }
}

OSStatus SecIdentityCopyCertificate(SecIdentityRef identity, SecCertificateRef* certificate) {
  const auto* object = objectCast<Identity>(identity);
  if (object == nullptr) return errSecParam;
  object->certificate().retain();
  *certificate = asRef<SecCertificateRef>(&object->certificate());
  return errSecSuccess;
}

OSStatus SecIdentityCopyPrivateKey(SecIdentityRef identity, SecKeyRef* privateKey) {
  const auto* object = objectCast<Identity>(identity);
  if (object == nullptr) return errSecInvalidItemRef;
  object->key().retain();
  *privateKey = asRef<SecKeyRef>(&object->key());
  return errSecSuccess;
}
