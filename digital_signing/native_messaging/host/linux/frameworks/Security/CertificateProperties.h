#pragma once

#include <string_view>

#include "linux/frameworks/CoreFoundation/CFInternal.h"
#include "linux/x509/X509Certificate.h"

/** The items of a certificate as property dictionaries, with the entries that are read of them. */
namespace vorn::frameworks {

/** The bytes in an authority key identifier: the key identifier; for a malformed one, all bytes as well. */
Owned<Array> authorityKeyIdentifierProperties(der::Bytes extension);

/**
 * The bytes of any other extension, tag and length included. An extension that is a SEQUENCE with strings in
 * it has none: it is shown as its strings, which nobody reads.
 */
Owned<Array> otherExtensionProperties(der::Bytes extension);

/**
 * The property that a key of SecCertificateCopyValues names, an object identifier in dotted form; null when
 * the certificate does not have it.
 */
Owned<> certificateProperty(const x509::Certificate& certificate, std::string_view key);

}  // namespace vorn::frameworks
