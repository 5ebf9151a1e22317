#include "Security/SecCertificate.h"

#include <cstdint>

#include "linux/frameworks/Security/CertificateProperties.h"
#include "linux/frameworks/Security/SecObjects.h"

namespace vorn::frameworks {

/** The fields are views: they stay good because moving a vector leaves its bytes where they are. */
Owned<Certificate> Certificate::make(std::vector<std::uint8_t> der) {
  auto fields = vorn::x509::readCertificate(der);
  return Owned<Certificate>(fields ? new Certificate(std::move(der), std::move(*fields)) : nullptr);
}

namespace {

Owned<Dictionary> values(const vorn::x509::Certificate& certificate, CFArrayRef keys) {
  std::vector<Entry> entries;
  for (CFIndex index = 0; index < CFArrayGetCount(keys); ++index) {
    const void* key = CFArrayGetValueAtIndex(keys, index);
    if (auto value = certificateProperty(certificate, utf8Of(key)))
      entries.push_back({retained(key), std::move(value)});
  }
  return makeDictionary(std::move(entries));
}

Owned<Array> texts(const std::vector<std::string>& strings) {
  std::vector<Owned<>> objects;
  objects.reserve(strings.size());
  for (const std::string& string : strings) objects.push_back(makeString(string));
  return makeArray(std::move(objects));
}

}  // namespace
}  // namespace vorn::frameworks

using namespace vorn::frameworks;

SecCertificateRef SecCertificateCreateWithData(CFAllocatorRef, CFDataRef data) {
  return guarded([&]() -> SecCertificateRef {
    if (objectCast<Data>(data) == nullptr) return nullptr;
    const auto bytes = bytesOf(data);
    return handOver<SecCertificateRef>(Certificate::make({bytes.begin(), bytes.end()}));
  });
}

CFDataRef SecCertificateCopyData(SecCertificateRef certificate) {
  return guarded([&]() -> CFDataRef {
    const auto* object = objectCast<Certificate>(certificate);
    return object != nullptr ? handOver<CFDataRef>(makeData(object->bytes())) : nullptr;
  });
}

OSStatus SecCertificateCopyCommonName(SecCertificateRef certificate, CFStringRef* commonName) {
  const auto* object = objectCast<Certificate>(certificate);
  if (object == nullptr) return errSecParam;
  *commonName = guarded([&]() -> CFStringRef {
    const auto name = vorn::x509::commonName(object->fields());
    return name ? handOver<CFStringRef>(makeString(*name)) : nullptr;
  });
  return *commonName != nullptr ? errSecSuccess : errSecInternal;
}

OSStatus SecCertificateCopyEmailAddresses(SecCertificateRef certificate, CFArrayRef* emailAddresses) {
  const auto* object = objectCast<Certificate>(certificate);
  if (object == nullptr) return errSecParam;
  *emailAddresses =
      guarded([&] { return handOver<CFArrayRef>(texts(vorn::x509::emailAddresses(object->fields()))); });
  return *emailAddresses != nullptr ? errSecSuccess : errSecAllocate;
}

CFDictionaryRef SecCertificateCopyValues(SecCertificateRef certificate, CFArrayRef keys,
                                         CFErrorRef* /*error*/) {
  return guarded([&]() -> CFDictionaryRef {
    const auto* object = objectCast<Certificate>(certificate);
    return object != nullptr ? handOver<CFDictionaryRef>(values(object->fields(), keys)) : nullptr;
  });
}

OSStatus SecCertificateCopyPublicKey(SecCertificateRef certificate, SecKeyRef* key) {
  const auto* object = objectCast<Certificate>(certificate);
  if (object == nullptr) return errSecInvalidItemRef;
  *key = guarded([&] { return asRef<SecKeyRef>(new PublicKey(object->fields())); });
  return *key != nullptr ? errSecSuccess : errSecAllocate;
}
