#pragma once

#include <string>
#include <xercesc/dom/DOMElement.hpp>

#include "shared/base/SignatureAlgorithm.h"

namespace vorn::verification {

/** The values in a signature, each as its bytes. */
struct SignatureFields {
  const xercesc::DOMElement* signedInfo;
  SignatureAlgorithm algorithm;
  std::string digest;
  std::string signature;
  std::string modulus; /**< of KeyValue, as is the exponent */
  std::string exponent;
  std::string certificate; /**< DER, or what stands in its place */
};

/**
 * Reads the Signature element if it is of the one form that the host makes for an element of that name: the
 * elements in their order, without a comment or processing instruction between them, the attributes with
 * their values and no others, the algorithms that requests can name. Blanks between elements and in base64
 * are read over. Nothing that it refers to is opened, and the XML signature library has no part in it.
 *
 * Throws an Objection for any other form.
 */
SignatureFields readSignature(const xercesc::DOMElement& signature, const std::string& elementName);

/** The identifier of the signature method as it stands in the document; empty when there is none to be found.
 */
std::string signatureMethodOf(const xercesc::DOMElement& signature);

}  // namespace vorn::verification
