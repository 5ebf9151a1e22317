#include "linux/frameworks/Security/CertificateProperties.h"

#include <cstdint>

#include "Security/SecCertificate.h"
#include "Security/SecCertificateOIDs.h"
#include "linux/x509/DerText.h"

namespace vorn::frameworks {
namespace {

/** The string types that an unknown extension is shown by. BMPString is not among them. */
bool isShownString(std::uint8_t tag) {
  switch (tag) {
    case der::kUtf8String:
    case der::kNumericString:
    case der::kPrintableString:
    case der::kT61String:
    case der::kVideotexString:
    case der::kIa5String:
    case der::kGraphicString:
    case der::kVisibleString:
    case der::kGeneralString:
    case der::kUniversalString:
      return true;
    default:
      return false;
  }
}

Owned<> property(Entry detail, Owned<> value) {
  std::vector<Entry> entries;
  entries.push_back(std::move(detail));
  entries.push_back({retained(kSecPropertyKeyValue), std::move(value)});
  return makeDictionary(std::move(entries));
}

Owned<> property(CFStringRef type, Owned<> value) {
  return property({retained(kSecPropertyKeyType), retained(type)}, std::move(value));
}

Owned<> section(Owned<> content) {
  return property(constantString<"section">(), std::move(content));
}

Owned<> number(Owned<> value) {
  return property(constantString<"number">(), std::move(value));
}

Owned<> dataProperty(der::Bytes bytes) {
  return property(kSecPropertyTypeData, makeData(bytes));
}

/**
 * One property for each attribute, labelled with its object identifier, in encoded order. Several attributes
 * in one name have no label between them and are left out; a malformed Name has none that could be read.
 */
Owned<Array> nameProperties(der::Bytes content) {
  std::vector<Owned<>> properties;
  for (const x509::Rdn& rdn : x509::readName(content).value_or(x509::Name())) {
    if (rdn.size() == 1) {
      properties.push_back(
          property({retained(kSecPropertyKeyLabel), makeString(der::objectIdentifierText(rdn[0].type))},
                   makeString(der::displayText(rdn[0].value))));
    }
  }
  return makeArray(std::move(properties));
}

/** Whether all of it can be read; its key identifier goes to `properties`. */
bool readAuthorityKeyIdentifier(der::Bytes extension, std::vector<Owned<>>& properties) {
  const auto sequence = der::Reader(extension).read(der::kSequence);
  der::Reader reader(sequence ? sequence->content : der::Bytes());
  const auto keyIdentifier = reader.read(der::contextTag(0, false));
  const auto issuer = reader.read(der::contextTag(1, true));
  const auto serial = reader.read(der::contextTag(2, false));
  if (!sequence || !reader.atEnd()) return false;
  if (keyIdentifier && !keyIdentifier->content.empty())
    properties.push_back(dataProperty(keyIdentifier->content));
  return issuer.has_value() == serial.has_value();
}

/** The fields that every certificate has; they come before an extension with the same identifier. */
const struct {
  CFStringRef key;
  Owned<> (*build)(const x509::Certificate&);
} kFixedProperties[] = {
    {kSecOIDKeyUsage,
     [](const x509::Certificate& certificate) {
       return number(makeNumber(static_cast<std::int32_t>(certificate.keyUsage)));
     }},
    {kSecOIDX509V1IssuerName,
     [](const x509::Certificate& certificate) { return section(nameProperties(certificate.issuer)); }},
    {kSecOIDX509V1SerialNumber,
     [](const x509::Certificate& certificate) {
       return property(constantString<"string">(), makeString(der::integerText(certificate.serial)));
     }},
    {kSecOIDX509V1ValidityNotBefore,
     [](const x509::Certificate& certificate) { return number(makeNumber(certificate.notBefore)); }},
    {kSecOIDX509V1ValidityNotAfter,
     [](const x509::Certificate& certificate) { return number(makeNumber(certificate.notAfter)); }},
};

}  // namespace

Owned<Array> authorityKeyIdentifierProperties(der::Bytes extension) {
  std::vector<Owned<>> properties;
  if (!readAuthorityKeyIdentifier(extension, properties)) properties.push_back(dataProperty(extension));
  return makeArray(std::move(properties));
}

Owned<Array> otherExtensionProperties(der::Bytes extension) {
  const auto sequence = der::Reader(extension).read(der::kSequence);
  bool isComplete = sequence.has_value();
  bool hasStrings = false;
  for (der::Reader reader(sequence ? sequence->content : der::Bytes()); isComplete && !reader.atEnd();) {
    const auto element = reader.read();
    isComplete = element.has_value();
    hasStrings = hasStrings || (element && isShownString(element->tag));
  }
  std::vector<Owned<>> properties;
  if (!isComplete || !hasStrings) properties.push_back(dataProperty(extension));
  return makeArray(std::move(properties));
}

Owned<> certificateProperty(const x509::Certificate& certificate, std::string_view key) {
  for (const auto& fixed : kFixedProperties)
    if (utf8Of(fixed.key) == key) return fixed.build(certificate);
  for (const x509::Extension& extension : certificate.extensions) {
    if (der::objectIdentifierText(extension.oid) == key) {
      return section(key == utf8Of(kSecOIDAuthorityKeyIdentifier)
                         ? authorityKeyIdentifierProperties(extension.value)
                         : otherExtensionProperties(extension.value));
    }
  }
  return nullptr;
}

}  // namespace vorn::frameworks
