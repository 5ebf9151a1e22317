#include "linux/x509/X509Name.h"

#include <cstdint>

#include "linux/x509/DerText.h"

namespace vorn::x509 {
namespace {

constexpr std::uint8_t kCommonNameType[] = {0x55, 0x04, 0x03};

std::optional<Attribute> readAttribute(der::Bytes content) {
  der::Reader reader(content);
  const auto type = reader.read(der::kObjectIdentifier);
  const auto value = reader.read();
  return type && value && reader.atEnd() ? std::optional(Attribute{type->content, *value}) : std::nullopt;
}

std::optional<Rdn> readRdn(der::Bytes content) {
  Rdn rdn;
  der::Reader reader(content);
  do {
    const auto element = reader.read(der::kSequence);
    const auto attribute = element ? readAttribute(element->content) : std::nullopt;
    if (!attribute) return std::nullopt;
    rdn.push_back(*attribute);
  } while (!reader.atEnd());
  return rdn;
}

}  // namespace

std::optional<Name> readName(der::Bytes content) {
  Name name;
  for (der::Reader reader(content); !reader.atEnd();) {
    const auto element = reader.read(der::kSet);
    auto rdn = element ? readRdn(element->content) : std::nullopt;
    if (!rdn) return std::nullopt;
    name.push_back(std::move(*rdn));
  }
  return name;
}

std::vector<std::string> attributeTexts(const Name& name, der::Bytes type) {
  std::vector<std::string> texts;
  for (const Rdn& rdn : name) {
    for (const Attribute& attribute : rdn)
      if (der::equal(attribute.type, type)) texts.push_back(der::displayText(attribute.value));
  }
  return texts;
}

std::optional<std::string> lastCommonName(const Name& name) {
  for (auto rdn = name.rbegin(); rdn != name.rend(); ++rdn) {
    for (auto attribute = rdn->rbegin(); attribute != rdn->rend(); ++attribute)
      if (der::equal(attribute->type, kCommonNameType)) return der::decodedText(attribute->value);
  }
  return std::nullopt;
}

}  // namespace vorn::x509
