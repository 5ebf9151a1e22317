#pragma once

#include <string_view>

#include "linux/frameworks/CoreFoundation/CFInternal.h"
#include "linux/frameworks/Security/X509Certificate.h"

/** The items of a certificate as property dictionaries: type, label, localized label, value. */
namespace vorn::frameworks {

/** A property; its label is never translated, so both labels are the same text. */
Owned<> property(CFStringRef type, std::string_view label, Owned<> value);
Owned<> stringProperty(std::string_view label, std::string_view text);
Owned<> dataProperty(std::string_view label, der::Bytes bytes);

/**
 * The content of a Name, in encoded order: a string property labelled with the attribute's object identifier
 * for each name, an unlabelled section for a multi-valued one; for a malformed Name one data property.
 */
Owned<Array> nameProperties(der::Bytes content);

/** Criticality, key identifier, issuer and serial number; for a malformed one, what could be read and then
 * all bytes. */
Owned<Array> authorityKeyIdentifierProperties(const x509::Extension& extension);

/**
 * Criticality, then the strings that stand directly in the extension's SEQUENCE; for an extension that is no
 * SEQUENCE or has no strings, all of its bytes, tag and length included.
 */
Owned<Array> otherExtensionProperties(const x509::Extension& extension);

/**
 * The property that a key of SecCertificateCopyValues names, an object identifier in dotted form; null when
 * the certificate does not have it.
 */
Owned<> certificateProperty(const x509::Certificate& certificate, std::string_view key);

/** Every key that certificateProperty knows of this certificate. */
std::vector<std::string> certificatePropertyKeys(const x509::Certificate& certificate);

}  // namespace vorn::frameworks
