#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "shared/base/Der.h"

/** Reading certificates, and the texts (UTF-8) in which their values are shown. No library's reader does it:
 * macOS, whose results these are, shows the octets of a name that is no UTF-8, for one, where OpenSSL refuses
 * the certificate as a whole; and the process for keys starts faster and smaller without libcrypto. */
namespace vorn::x509 {

struct Extension {
  /** Content octets of the extension's object identifier. */
  der::Bytes oid;
  /** Content of the extnValue OCTET STRING, which is itself DER as a rule. */
  der::Bytes value;
};

/** A certificate taken apart: views into its DER bytes, which have to outlive it. */
struct Certificate {
  /** Content octets of the serial number. */
  der::Bytes serial;
  /** Content of the names' SEQUENCEs; what stands inside is not checked. */
  der::Bytes issuer;
  der::Bytes subject;
  /** Seconds since 2001-01-01 00:00:00 UTC. */
  double notBefore = 0;
  double notAfter = 0;
  /** Whether the key is an RSA key, and the content of its BIT STRING. */
  bool isRsa = false;
  der::Bytes publicKey;
  /** Bit n of KeyUsage as 1 << n, and kCriticalKeyUsage; 0 when there is no such extension. */
  std::uint32_t keyUsage = 0;
  /** Content of the subject alternative name's SEQUENCE of names; empty when there is none. */
  der::Bytes alternativeNames;
  /** In encoded order, duplicates included. */
  std::vector<Extension> extensions;
};

inline constexpr std::uint32_t kCriticalKeyUsage = 0x80000000U;

/** Reads a certificate; none when it is malformed. Signatures are not checked, nor are the
 * contents of extensions, but for a critical KeyUsage or subject alternative name: a malformed
 * one refuses the certificate. */
std::optional<Certificate> readCertificate(der::Bytes bytes);

struct Attribute {
  /** Content octets of the attribute's object identifier. */
  der::Bytes type;
  der::Element value;
};

/** Relative distinguished names, each of several attributes only when it is multi-valued. */
using Name = std::vector<std::vector<Attribute>>;

/** Reads the content of a Name's SEQUENCE, in encoded order; none when it is malformed. */
std::optional<Name> readName(der::Bytes content);

/** The last common name in the content of a Name's SEQUENCE, which an identity is searched by; none when
 * there is none, or it is no text, or the Name is malformed. */
std::optional<std::string> commonName(der::Bytes name);

/** The addresses of the subject alternative name, then those of the subject, in encoded order, duplicates
 * kept. Empty when either is malformed. */
std::vector<std::string> emailAddresses(const Certificate& certificate);

/**
 * A UTCTime or GeneralizedTime as seconds since 2001-01-01 00:00:00 UTC, negative before.
 *
 * A UTCTime of the years 50 to 69, which belong to neither century here, gives 0. None for any other form,
 * fractions of a second included.
 */
std::optional<double> readTime(const der::Element& time);

/** Dotted decimal, the arcs in 32 bits; "OID too long" for more than 32 octets, "<NULL>" for none. */
std::string objectIdentifierText(der::Bytes content);

/** The content octets of an INTEGER, read without a sign: decimal for up to eight octets; for more, as
 * hexText, a leading 00 kept. */
std::string integerText(der::Bytes content);

/** Two upper-case hexadecimal digits per octet with spaces between. */
std::string hexText(der::Bytes bytes);

/** The text of a value of a distinguished name; none when it is of a string type and its octets are
 * no such string. */
std::optional<std::string> decodedText(const der::Element& value);

/** As decodedText, and hexText where that gives none. */
std::string displayText(const der::Element& value);

}  // namespace vorn::x509
