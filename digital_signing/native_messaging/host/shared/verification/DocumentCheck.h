#pragma once

#include <openssl/types.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>

#include "shared/base/SignatureAlgorithm.h"
#include "shared/verification/Objection.h"

namespace vorn::verification {

/** The result of checking one of the two signatures of a document. */
struct PartCheck {
  std::string elementName;
  const xercesc::DOMElement* element = nullptr; /**< null unless there is exactly one */
  std::optional<Objection> fault = {};          /**< why it is not intact */
  std::string algorithm = {};   /**< identifier of the signature method as written; may be empty */
  std::string certificate = {}; /**< the signer's, DER; of a part that is intact */
  bool maySign = false;         /**< whether that certificate's key usage has digital signature */
  std::optional<SignatureAlgorithm> method = {}; /**< of a part that is intact */
  int keyBits = 0;

  bool isIntact() const { return !fault; }
};

using PartChecks = std::array<PartCheck, 2>;

/**
 * Checks the last signature in the CounterpartData and in the RenderedData element, in this order: that the
 * element is as it was signed, and that the signature was made with the key of the certificate that stands in
 * it. Nothing is said of that certificate: neither who issued it nor whether it is still valid.
 *
 * Only signatures of the form that this host makes can be intact. Nothing but the document is read. The XML
 * libraries have to be started: startXmlLibraries.
 */
PartChecks checkDocument(const xercesc::DOMDocument& document);

/** The digest of the element's canonical form, less one node, which may be null. */
std::string digestElement(const xercesc::DOMElement& element, const xercesc::DOMNode* omitted,
                          const EVP_MD* algorithm);

}  // namespace vorn::verification
