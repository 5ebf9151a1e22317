#pragma once

namespace vorn {

/**
 * Has the signature library sign the canonical form of SignedInfo that Canonicaliser makes. The
 * library's own takes any attribute of an ancestor whose name begins with "xmlns" for a declaration in trees
 * parsed without namespace processing, down to a legal xmlns:xml, and verifiers then refuse the signature.
 *
 * To be called once the library has been started.
 */
void useOwnCanonicalSignedInfo();

}  // namespace vorn
