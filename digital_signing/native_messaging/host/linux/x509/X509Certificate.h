#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "linux/x509/Der.h"

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

/**
 * Reads a certificate; none when it is malformed. Signatures are not checked, nor are the
 * contents of extensions, but for a critical KeyUsage or subject alternative name: a malformed
 * one refuses the certificate.
 */
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

/**
 * The addresses of the subject alternative name, then those of the subject, in encoded order, duplicates
 * kept. Empty when either is malformed.
 */
std::vector<std::string> emailAddresses(const Certificate& certificate);

/**
 * A UTCTime or GeneralizedTime as seconds since 2001-01-01 00:00:00 UTC, negative before.
 *
 * A UTCTime of the years 50 to 69, which belong to neither century here, gives 0. None for any other form,
 * fractions of a second included.
 */
std::optional<double> readTime(const der::Element& time);

}  // namespace vorn::x509
