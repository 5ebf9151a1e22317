#include "Security/SecCertificate.h"
#include "linux/frameworks/Security/CertificateProperties.h"
#include "linux/frameworks/Security/DerText.h"

namespace vorn::frameworks {
namespace {

/** The fields of AuthorityKeyIdentifier, and the alternatives of GeneralName. */
constexpr std::uint8_t kKeyIdentifier = der::contextTag(0, false);
constexpr std::uint8_t kCertIssuer = der::contextTag(1, true);
constexpr std::uint8_t kCertSerialNumber = der::contextTag(2, false);
constexpr std::uint8_t kOtherName = der::contextTag(0, true);
constexpr std::uint8_t kRfc822Name = der::contextTag(1, false);
constexpr std::uint8_t kDnsName = der::contextTag(2, false);
constexpr std::uint8_t kDirectoryName = der::contextTag(4, true);
constexpr std::uint8_t kUri = der::contextTag(6, false);
constexpr std::uint8_t kIpAddress = der::contextTag(7, false);
constexpr std::uint8_t kRegisteredId = der::contextTag(8, false);

std::string ipAddressText(der::Bytes address) {
  std::string text;
  if (address.size() == 4) {
    for (std::uint8_t octet : address) {
      text.append(text.empty() ? "" : ".").append(std::to_string(octet));
    }
    return text;
  }
  if (address.size() != 16) {
    return der::hexText(address);
  }
  for (std::size_t index = 0; index < address.size(); index += 2) {
    text.append(index == 0 ? "" : ":")
        .append(der::hexText(address.subspan(index, 1)))
        .append(der::hexText(address.subspan(index + 1, 1)));
  }
  return text;
}

/** One general name; null for an alternative that is not shown and for a malformed one, which sets `failed`.
 */
Owned<> generalNameProperty(const der::Element& name, bool& failed) {
  switch (name.tag) {
    case kRfc822Name:
      return stringProperty("Email Address", der::latin1Text(name.content));
    case kDnsName:
      return stringProperty("DNS Name", der::latin1Text(name.content));
    case kUri:
      // A text, as this layer knows no URL objects.
      return property(kSecPropertyTypeURL, "URI", makeString(der::latin1Text(name.content)));
    case kIpAddress:
      return stringProperty("IP Address", ipAddressText(name.content));
    case kRegisteredId:
      return stringProperty("Registered ID", der::objectIdentifierText(name.content));
    case kDirectoryName: {
      const auto directory = der::Reader(name.content).read(der::kSequence);
      failed = !directory;
      return directory
                 ? property(kSecPropertyTypeSection, "Directory Name", nameProperties(directory->content))
                 : nullptr;
    }
    case kOtherName: {
      der::Reader reader(name.content);
      const auto type = reader.read(der::kObjectIdentifier);
      const auto wrapper = reader.read(der::contextTag(0, true));
      const auto value = wrapper ? der::Reader(wrapper->content).read() : std::nullopt;
      failed = !type || !value;
      return failed ? nullptr
                    : stringProperty(der::objectIdentifierText(type->content), der::displayText(*value));
    }
    default:
      return nullptr;
  }
}

/** Appends what can be read; false as soon as something cannot. */
bool appendFields(der::Bytes value, std::vector<Owned<>>& properties) {
  const auto sequence = der::Reader(value).read(der::kSequence);
  der::Reader reader(sequence ? sequence->content : der::Bytes());
  const auto keyIdentifier = reader.read(kKeyIdentifier);
  const auto issuer = reader.read(kCertIssuer);
  const auto serial = reader.read(kCertSerialNumber);
  if (!sequence || !reader.atEnd()) {
    return false;
  }
  if (keyIdentifier && !keyIdentifier->content.empty()) {
    properties.push_back(dataProperty("Key Identifier", keyIdentifier->content));
  }
  if (!issuer && !serial) {
    return true;
  }
  if (!issuer || !serial) {
    return false;
  }
  for (der::Reader names(issuer->content); !names.atEnd();) {
    const auto name = names.read();
    bool failed = !name;
    Owned<> shown = name ? generalNameProperty(*name, failed) : nullptr;
    if (failed) {
      return false;
    }
    if (shown) {
      properties.push_back(std::move(shown));
    }
  }
  properties.push_back(
      stringProperty("Authority Certificate Serial Number", der::integerText(serial->content)));
  return true;
}

}  // namespace

Owned<Array> authorityKeyIdentifierProperties(const x509::Extension& extension) {
  auto properties = elements(stringProperty("Critical", extension.critical ? "Yes" : "No"));
  if (!appendFields(extension.value, properties)) {
    properties.push_back(dataProperty("Invalid Authority Key Identifier", extension.value));
  }
  return makeArray(properties);
}

}  // namespace vorn::frameworks
