#pragma once

#include <string>

#include "linux/x509/Der.h"

/** DER values as the texts (UTF-8) in which certificates are shown. */
namespace vorn::der {

/** Dotted decimal, the arcs in 32 bits; "OID too long" for more than 32 octets, "<NULL>" for none. */
std::string objectIdentifierText(Bytes content);

/**
 * The content octets of an INTEGER, read without a sign: decimal for up to eight octets; for more, two
 * upper-case hexadecimal digits per octet with spaces between, a leading 00 kept.
 */
std::string integerText(Bytes content);

/** Two upper-case hexadecimal digits per octet with spaces between. */
std::string hexText(Bytes bytes);

/** Octets as ISO 8859-1 characters. */
std::string latin1Text(Bytes bytes);

/** The text of a value of a distinguished name; none when it is of a string type and its octets are
 * no such string. */
std::optional<std::string> decodedText(const Element& value);

/** As decodedText, and hexText where that gives none. */
std::string displayText(const Element& value);

}  // namespace vorn::der
