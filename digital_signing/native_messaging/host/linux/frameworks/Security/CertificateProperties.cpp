#include "linux/frameworks/Security/CertificateProperties.h"

#include "Security/SecCertificate.h"
#include "Security/SecCertificateOIDs.h"
#include "linux/frameworks/Security/DerText.h"

namespace vorn::frameworks {
namespace {

/** The string types whose values an unknown extension shows. BMPString is not among them. */
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

Owned<> section(std::string_view label, Owned<Array> content) {
  return property(kSecPropertyTypeSection, label, std::move(content));
}

Owned<> attributeProperty(const x509::Attribute& attribute) {
  return stringProperty(der::objectIdentifierText(attribute.type), der::displayText(attribute.value));
}

/** A multi-valued name has no label of its own. */
Owned<> rdnProperty(const x509::Rdn& rdn) {
  if (rdn.size() == 1) {
    return attributeProperty(rdn.front());
  }
  std::vector<Owned<>> attributes;
  for (const x509::Attribute& attribute : rdn) {
    attributes.push_back(attributeProperty(attribute));
  }
  return makeDictionaryOf(Entry(kSecPropertyKeyType, retained(kSecPropertyTypeSection)),
                          Entry(kSecPropertyKeyValue, makeArray(attributes)));
}

const x509::Extension* findExtension(const x509::Certificate& certificate, std::string_view key) {
  for (const x509::Extension& extension : certificate.extensions) {
    if (der::objectIdentifierText(extension.oid) == key) {
      return &extension;
    }
  }
  return nullptr;
}

Owned<> extensionProperty(const x509::Extension& extension, std::string_view key) {
  const bool known = key == utf8Of(kSecOIDAuthorityKeyIdentifier);
  return section(key,
                 known ? authorityKeyIdentifierProperties(extension) : otherExtensionProperties(extension));
}

using BuildProperty = Owned<> (*)(const x509::Certificate& certificate);

struct FixedProperty {
  CFStringRef key;
  BuildProperty build;
};

/** What every certificate has, and what therefore comes before an extension with the same identifier. */
const FixedProperty kFixedProperties[] = {
    {kSecOIDKeyUsage,
     [](const x509::Certificate& certificate) {
       const auto usage = static_cast<std::int32_t>(certificate.keyUsage);
       return property(kSecPropertyTypeNumber, "Key Usage", makeNumber(usage));
     }},
    {kSecOIDX509V1IssuerName,
     [](const x509::Certificate& certificate) {
       return section("Issuer Name", nameProperties(certificate.issuer));
     }},
    {kSecOIDX509V1SerialNumber,
     [](const x509::Certificate& certificate) {
       return stringProperty("Serial Number", der::integerText(certificate.serial));
     }},
    {kSecOIDX509V1ValidityNotBefore,
     [](const x509::Certificate& certificate) {
       return property(kSecPropertyTypeNumber, "Not Valid Before", makeNumber(certificate.notBefore));
     }},
    {kSecOIDX509V1ValidityNotAfter,
     [](const x509::Certificate& certificate) {
       return property(kSecPropertyTypeNumber, "Not Valid After", makeNumber(certificate.notAfter));
     }},
};

}  // namespace

Owned<> property(CFStringRef type, std::string_view label, Owned<> value) {
  return makeDictionaryOf(
      Entry(kSecPropertyKeyType, retained(type)), Entry(kSecPropertyKeyLabel, makeString(label)),
      Entry(kSecPropertyKeyLocalizedLabel, makeString(label)), Entry(kSecPropertyKeyValue, std::move(value)));
}

Owned<> stringProperty(std::string_view label, std::string_view text) {
  return property(kSecPropertyTypeString, label, makeString(text));
}

Owned<> dataProperty(std::string_view label, der::Bytes bytes) {
  return property(kSecPropertyTypeData, label, makeData(bytes));
}

Owned<Array> nameProperties(der::Bytes content) {
  const auto name = x509::readName(content);
  if (!name) {
    return makeArray(elements(dataProperty("Invalid X.501 Name", content)));
  }
  std::vector<Owned<>> properties;
  for (const x509::Rdn& rdn : *name) {
    properties.push_back(rdnProperty(rdn));
  }
  return makeArray(properties);
}

Owned<Array> otherExtensionProperties(const x509::Extension& extension) {
  auto properties = elements(stringProperty("Critical", extension.critical ? "Yes" : "No"));
  const auto sequence = der::Reader(extension.value).read(der::kSequence);
  bool complete = sequence.has_value();
  for (der::Reader reader(sequence ? sequence->content : der::Bytes()); !reader.atEnd();) {
    const auto element = reader.read();
    if (!element) {
      complete = false;
      break;
    }
    if (isShownString(element->tag)) {
      properties.push_back(stringProperty("Data", der::displayText(*element)));
    }
  }
  const bool hasStrings = properties.size() > 1;
  if (!complete || !hasStrings) {
    properties.push_back(dataProperty("Unparsed Data", extension.value));
  }
  return makeArray(properties);
}

Owned<> certificateProperty(const x509::Certificate& certificate, std::string_view key) {
  for (const FixedProperty& fixed : kFixedProperties) {
    if (utf8Of(fixed.key) == key) {
      return fixed.build(certificate);
    }
  }
  const x509::Extension* extension = findExtension(certificate, key);
  return extension != nullptr ? extensionProperty(*extension, key) : nullptr;
}

std::vector<std::string> certificatePropertyKeys(const x509::Certificate& certificate) {
  std::vector<std::string> keys;
  for (const FixedProperty& fixed : kFixedProperties) {
    keys.push_back(utf8Of(fixed.key));
  }
  for (const x509::Extension& extension : certificate.extensions) {
    keys.push_back(der::objectIdentifierText(extension.oid));
  }
  return keys;
}

}  // namespace vorn::frameworks
