#pragma once

#include <cstdint>
#include <string>

#include "linux/x509/Der.h"

/** The names in a certificate, views into its bytes. */
namespace vorn::x509 {

/** Content octets of 1.2.840.113549.1.9.1. */
inline constexpr std::uint8_t kEmailAddressType[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x09, 0x01};

struct Attribute {
  /** Content octets of the attribute's object identifier. */
  der::Bytes type;
  der::Element value;
};

/** One relative distinguished name: several attributes only when it is multi-valued. */
using Rdn = std::vector<Attribute>;
using Name = std::vector<Rdn>;

/** Reads the content of a Name's SEQUENCE, in encoded order; none when it is malformed. */
std::optional<Name> readName(der::Bytes content);

/** The texts of all attributes of a type, in encoded order; undecodable ones as hexadecimal. */
std::vector<std::string> attributeTexts(const Name& name, der::Bytes type);

/** The text of the last common name; none when there is none or its octets are no text. */
std::optional<std::string> lastCommonName(const Name& name);

}  // namespace vorn::x509
