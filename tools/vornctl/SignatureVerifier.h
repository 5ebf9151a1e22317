#pragma once

#include <string>
#include <vector>

namespace vorn::vornctl {

/** What a check of one of the two signatures of a document found. */
struct SignatureVerdict {
  std::string elementName;
  bool valid = false;
  std::string fault = {};     /**< why it is not valid, for people; empty when it is */
  std::string algorithm = {}; /**< identifier of the signature method; empty when it could not be read */
  std::string certificate =
      {}; /**< the signer's as it stands in the document, base64 without blanks; may be empty */
};

/**
 * Checks the signatures over the CounterpartData and the RenderedData element, in this order: that each
 * element is as it was signed, and that the signature was made with the key of the certificate that stands in
 * it. Nothing is said of that certificate: neither who issued it nor whether it is still valid.
 *
 * Only signatures of the form that this host makes are checked, any other is not valid. Throws
 * XMLDataParsingException for what is not XML or cannot be read, InvalidXMLDataException where elements are
 * nested too deeply. The XML libraries have to be
 * started: XMLSigner::initialise.
 */
std::vector<SignatureVerdict> verifySignatures(const std::string& xml);

}  // namespace vorn::vornctl
