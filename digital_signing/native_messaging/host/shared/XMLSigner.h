#pragma once

#include <optional>
#include <string>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMImplementation.hpp>

#include "shared/base/SignatureAlgorithm.h"
#include "shared/xml/ParserLimits.h"

namespace vorn {

/**
 * Turns an XML document into the same document with two enveloped signatures: one over its single
 * CounterpartData element, one over its single RenderedData element. The key and the certificate are those of
 * the selected identity: shared/base/SigningIdentity.h.
 *
 * Starts the XML libraries. One instance for the process, never deleted; one thread.
 */
class XMLSigner {
 public:
  using SignatureAlgorithm = vorn::SignatureAlgorithm;
  using enum vorn::SignatureAlgorithm;  // XMLSigner::RSA_SHA256

  static XMLSigner& getInstance();
  virtual ~XMLSigner() = default;
  XMLSigner(const XMLSigner&) = delete;
  XMLSigner& operator=(const XMLSigner&) = delete;

  /** To be called at the beginning of each request. Starts the XML libraries if they have not been, and
   * selects the algorithm. A value that is none of them leaves the earlier choice. All documents until the
   * next call share one budget of what their entities may expand to. Throws a TechnicalException when the
   * libraries do not start. */
  void initialise(SignatureAlgorithm algorithm);

  /** Takes and returns base64. Throws XMLDataParsingException, InvalidXMLDataException and
   * CryptoException, and passes on the parser's SAX exceptions for documents that are not
   * well-formed: see parserRefusal. */
  std::string sign(const std::string& base64Xml);

  /** Stops the XML libraries, for good: initialise does not start them again. */
  void cleanup();

 private:
  XMLSigner() = default;

  /** `digest` is that of the whole document where others could read another one; then it has to be looked at.
   */
  std::string makeSignedXml(const std::string& base64Xml, std::string& digest);
  /** Adds the signature of the only element with the name. */
  void generateSignature(xercesc::DOMDocument& document, const std::string& elementName);
  /** The document as UTF-8. */
  std::string serialiseDocument(const xercesc::DOMDocument& document);

  std::optional<SignatureAlgorithm> algorithm_;
  ExpansionBudget expansions_;
  // The identifiers belong to the signature library.
  const XMLCh* signatureMethodURI_ = nullptr;
  const XMLCh* digestMethodURI_ = nullptr;
  // The library's, for what serialises; null until the libraries are started.
  xercesc::DOMImplementation* domImplementation_ = nullptr;
};

}  // namespace vorn
