#include <algorithm>
#include <cstdint>

#include "linux/frameworks/Security/SecObjects.h"

namespace vorn::frameworks {

/** The fields are views: they stay good because moving a vector leaves its bytes where they are. */
Owned<Certificate> Certificate::make(std::vector<std::uint8_t> der) {
  auto fields = x509::readCertificate(der);
  return Owned<Certificate>(fields ? new Certificate(std::move(der), std::move(*fields)) : nullptr);
}

namespace {

Owned<> property(CFStringRef detailKey, Owned<> detail, Owned<> value) {
  std::vector<Entry> entries;
  entries.push_back({retained(detailKey), std::move(detail)});
  entries.push_back({retained(kSecPropertyKeyValue), std::move(value)});
  return makeDictionary(std::move(entries));
}

Owned<> property(CFStringRef type, Owned<> value) {
  return property(kSecPropertyKeyType, retained(type), std::move(value));
}

Owned<> section(std::vector<Owned<>> properties) {
  return property(constantString<"section">(), makeArray(std::move(properties)));
}

Owned<> number(Owned<> value) {
  return property(constantString<"number">(), std::move(value));
}

Owned<> dataProperty(der::Bytes bytes) {
  return property(kSecPropertyTypeData, makeData(bytes));
}

/** One property for each attribute, labelled with its object identifier, in encoded order. Several attributes
 * in one name have no label between them and are left out; a malformed Name has none that could be read. */
std::vector<Owned<>> nameProperties(der::Bytes content) {
  std::vector<Owned<>> properties;
  for (const auto& relative : x509::readName(content).value_or(x509::Name()))
    if (relative.size() == 1)
      properties.push_back(property(kSecPropertyKeyLabel,
                                    makeString(x509::objectIdentifierText(relative[0].type)),
                                    makeString(x509::displayText(relative[0].value))));
  return properties;
}

/** The bytes in an authority key identifier: the key identifier; for a malformed one, all bytes as well. */
std::vector<Owned<>> authorityKeyIdentifierProperties(der::Bytes extension) {
  std::vector<Owned<>> properties;
  const auto sequence = der::Reader(extension).read(der::kSequence);
  der::Reader reader(sequence ? sequence->content : der::Bytes());
  const auto keyIdentifier = reader.read(der::contextTag(0, false));
  const auto issuer = reader.read(der::contextTag(1, true));
  const auto serial = reader.read(der::contextTag(2, false));
  const bool isRead = sequence && reader.atEnd();
  if (isRead && keyIdentifier && !keyIdentifier->content.empty())
    properties.push_back(dataProperty(keyIdentifier->content));
  if (!isRead || issuer.has_value() != serial.has_value()) properties.push_back(dataProperty(extension));
  return properties;
}

/** The string types that an unknown extension is shown by. BMPString is not among them. */
bool isShownString(std::uint8_t tag) {
  return tag == der::kUtf8String || (tag >= der::kNumericString && tag <= der::kUniversalString &&
                                     tag != der::kUtcTime && tag != der::kGeneralizedTime);
}

/** The bytes of any other extension, tag and length included. An extension that is a SEQUENCE with strings in
 * it has none: it is shown as its strings, which nobody reads. */
std::vector<Owned<>> otherExtensionProperties(der::Bytes extension) {
  const auto sequence = der::Reader(extension).read(der::kSequence);
  const auto elements = sequence ? der::children(sequence->content) : std::nullopt;
  std::vector<Owned<>> properties;
  if (!elements || std::none_of(elements->begin(), elements->end(),
                                [](const der::Element& element) { return isShownString(element.tag); }))
    properties.push_back(dataProperty(extension));
  return properties;
}

/** The property that a key of SecCertificateCopyValues names; null when the certificate does not have it. The
 * fields that every certificate has come before an extension with the same identifier. */
Owned<> certificateProperty(const x509::Certificate& certificate, CFTypeRef key) {
  const auto is = [key](CFStringRef oid) { return CFEqual(key, oid) != 0; };
  if (is(kSecOIDKeyUsage)) return number(makeNumber(static_cast<std::int32_t>(certificate.keyUsage)));
  if (is(kSecOIDX509V1IssuerName)) return section(nameProperties(certificate.issuer));
  if (is(kSecOIDX509V1SerialNumber))
    return property(constantString<"string">(), makeString(x509::integerText(certificate.serial)));
  if (is(kSecOIDX509V1ValidityNotBefore)) return number(makeNumber(certificate.notBefore));
  if (is(kSecOIDX509V1ValidityNotAfter)) return number(makeNumber(certificate.notAfter));
  for (const x509::Extension& extension : certificate.extensions)
    if (x509::objectIdentifierText(extension.oid) == utf8Of(key))
      return section(is(kSecOIDAuthorityKeyIdentifier) ? authorityKeyIdentifierProperties(extension.value)
                                                       : otherExtensionProperties(extension.value));
  return nullptr;
}

}  // namespace
}  // namespace vorn::frameworks

using namespace vorn::frameworks;

SecCertificateRef SecCertificateCreateWithData(CFAllocatorRef, CFDataRef data) {
  return guarded([&]() -> SecCertificateRef {
    const auto* object = objectCast<Data>(data);
    return object != nullptr ? handOver<SecCertificateRef>(Certificate::make(object->value)) : nullptr;
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
    const auto name = vorn::x509::commonName(object->fields().subject);
    return name ? handOver<CFStringRef>(makeString(*name)) : nullptr;
  });
  return *commonName != nullptr ? errSecSuccess : errSecInternal;
}

OSStatus SecCertificateCopyEmailAddresses(SecCertificateRef certificate, CFArrayRef* emailAddresses) {
  const auto* object = objectCast<Certificate>(certificate);
  if (object == nullptr) return errSecParam;
  *emailAddresses = guarded([&] {
    std::vector<Owned<>> addresses;
    for (const std::string& address : vorn::x509::emailAddresses(object->fields()))
      addresses.push_back(makeString(address));
    return handOver<CFArrayRef>(makeArray(std::move(addresses)));
  });
  return *emailAddresses != nullptr ? errSecSuccess : errSecAllocate;
}

CFDictionaryRef SecCertificateCopyValues(SecCertificateRef certificate, CFArrayRef keys,
                                         CFErrorRef* /*error*/) {
  return guarded([&]() -> CFDictionaryRef {
    const auto* object = objectCast<Certificate>(certificate);
    if (object == nullptr) return nullptr;
    std::vector<Entry> entries;
    for (CFIndex index = 0; index < CFArrayGetCount(keys); ++index) {
      const void* key = CFArrayGetValueAtIndex(keys, index);
      if (auto value = certificateProperty(object->fields(), key))
        entries.push_back({retained(key), std::move(value)});
    }
    return handOver<CFDictionaryRef>(makeDictionary(std::move(entries)));
  });
}

OSStatus SecCertificateCopyPublicKey(SecCertificateRef certificate, SecKeyRef* key) {
  const auto* object = objectCast<Certificate>(certificate);
  if (object == nullptr) return errSecInvalidItemRef;
  *key = guarded([&] { return asRef<SecKeyRef>(new PublicKey(object->fields())); });
  return *key != nullptr ? errSecSuccess : errSecAllocate;
}
