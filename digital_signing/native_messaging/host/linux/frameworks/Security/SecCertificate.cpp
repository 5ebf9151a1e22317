#include "Security/SecCertificate.h"

#include "linux/frameworks/Security/CertificateProperties.h"
#include "linux/frameworks/Security/SecObjects.h"

namespace vorn::frameworks {

/** The fields are views: they stay good because moving a vector leaves its bytes where they are. */
Owned<Certificate> Certificate::make(std::vector<std::uint8_t> der) {
  auto fields = x509::readCertificate(der);
  return Owned<Certificate>(fields ? new Certificate(std::move(der), std::move(*fields)) : nullptr);
}

namespace {

/** Null when the keys are not all texts. */
Owned<Dictionary> values(const x509::Certificate& certificate, CFArrayRef keys) {
  std::vector<Entry> entries;
  const CFIndex count = CFArrayGetCount(keys);
  for (CFIndex index = 0; index < count; ++index) {
    const auto* key = objectCast<String>(CFArrayGetValueAtIndex(keys, index));
    if (key == nullptr) {
      return nullptr;
    }
    const auto name = asRef<CFStringRef>(key);
    if (auto value = certificateProperty(certificate, utf8Of(name))) {
      entries.emplace_back(name, std::move(value));
    }
  }
  return makeDictionary(entries);
}

Owned<Array> texts(const std::vector<std::string>& strings) {
  std::vector<Owned<>> objects;
  objects.reserve(strings.size());
  for (const std::string& string : strings) {
    objects.push_back(makeString(string));
  }
  return makeArray(objects);
}

}  // namespace
}  // namespace vorn::frameworks

using namespace vorn::frameworks;

CFTypeID SecCertificateGetTypeID() {
  return kTypeCertificate;
}

SecCertificateRef SecCertificateCreateWithData(CFAllocatorRef, CFDataRef data) {
  return guarded([&]() -> SecCertificateRef {
    if (objectCast<Data>(data) == nullptr) {
      return nullptr;
    }
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
  if (object == nullptr || commonName == nullptr) {
    return errSecParam;
  }
  *commonName = guarded([&]() -> CFStringRef {
    const auto name = x509::commonName(object->fields());
    return name ? handOver<CFStringRef>(makeString(*name)) : nullptr;
  });
  return *commonName != nullptr ? errSecSuccess : errSecInternal;
}

OSStatus SecCertificateCopyEmailAddresses(SecCertificateRef certificate, CFArrayRef* emailAddresses) {
  const auto* object = objectCast<Certificate>(certificate);
  if (object == nullptr || emailAddresses == nullptr) {
    return errSecParam;
  }
  *emailAddresses =
      guarded([&] { return handOver<CFArrayRef>(texts(x509::emailAddresses(object->fields()))); });
  return *emailAddresses != nullptr ? errSecSuccess : errSecAllocate;
}

CFDictionaryRef SecCertificateCopyValues(SecCertificateRef certificate, CFArrayRef keys, CFErrorRef* error) {
  return guarded([&]() -> CFDictionaryRef {
    const auto* object = objectCast<Certificate>(certificate);
    if (object == nullptr) {
      if (error != nullptr) {
        *error = CFErrorCreate(nullptr, kCFErrorDomainOSStatus, errSecInvalidCertificateRef, nullptr);
      }
      return nullptr;
    }
    if (keys != nullptr && objectCast<Array>(keys) == nullptr) {
      return nullptr;
    }
    const auto all = keys == nullptr ? texts(certificatePropertyKeys(object->fields())) : nullptr;
    return handOver<CFDictionaryRef>(
        values(object->fields(), all != nullptr ? asRef<CFArrayRef>(all.get()) : keys));
  });
}

OSStatus SecCertificateCopyPublicKey(SecCertificateRef certificate, SecKeyRef* key) {
  const auto* object = objectCast<Certificate>(certificate);
  if (object == nullptr) {
    return errSecInvalidItemRef;
  }
  if (key == nullptr) {
    return kInvalidPointer;
  }
  *key = guarded([&] { return asRef<SecKeyRef>(new PublicKey(object->fields())); });
  return *key != nullptr ? errSecSuccess : errSecAllocate;
}
