#include "shared/XMLSigner.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <openssl/evp.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <new>
#include <string_view>
#include <vector>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/dom/DOMImplementationRegistry.hpp>
#include <xercesc/dom/DOMLSOutput.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xsec/dsig/DSIGConstants.hpp>
#include <xsec/enc/XSECCryptoException.hpp>
#include <xsec/framework/XSECException.hpp>

#include "shared/base/Base64.h"
#include "shared/base/Exceptions.h"
#include "shared/base/SignatureRecord.h"
#include "shared/base/SigningIdentity.h"
#include "shared/verification/DocumentCheck.h"
#include "shared/xml/DocumentElements.h"
#include "shared/xml/DocumentSerialiser.h"
#include "shared/xml/ParsedDocument.h"
#include "shared/xml/SignatureBuilder.h"
#include "shared/xml/SignatureWarnings.h"
#include "shared/xml/XmlLibraries.h"
#include "shared/xml/XmlText.h"

namespace vorn {
namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("XMLSigner"));

// In bytes, of the buffer that a document is written to; it grows.
constexpr XMLSize_t kInitialCapacity = 1023;

/** Gives an object of the DOM back to the library. */
struct Release {
  template <typename Object>
  void operator()(Object* object) const {
    object->release();
  }
};

/** Logs the message and throws it. */
template <typename Exception, typename... Reason>
[[noreturn]] void fail(const std::string& message, const Reason&... reason) {
  LOG4CPLUS_ERROR(logger, message);
  throw Exception(message, reason...);
}

std::string describe(const xercesc::DOMException& e) {
  constexpr XMLSize_t kLongest = 2047;
  XMLCh text[kLongest + 1];
  if (!xercesc::DOMImplementation::loadDOMExceptionMsg(e.code, text, kLongest)) return {};
  return ". " + toUtf8(text);
}

ParsedDocument parse(std::string_view xml, ExpansionBudget& expansions) {
  try {
    return ParsedDocument(xml, expansions);
  } catch (const BaseException& e) {
    LOG4CPLUS_ERROR(logger, e.message());
    throw;
  } catch (const xercesc::XMLException& e) {
    fail<XMLDataParsingException>("Caught XMLException parsing request XML data. Exception message = " +
                                  toUtf8(e.getMessage()));
  } catch (const xercesc::DOMException& e) {
    fail<XMLDataParsingException>("Caught DOMException parsing request XML data" + describe(e));
  }
}

xercesc::DOMElement& findSingleElement(const xercesc::DOMDocument& document, const std::string& elementName) {
  const std::string invalid = "Request XML data is invalid. ";
  const NamedElements elements = findElements(document, elementName);
  if (elements.count > 1)
    fail<InvalidXMLDataException>(invalid + "Multiple <" + elementName + "> elements found");
  if (elements.count == 0) fail<InvalidXMLDataException>(invalid + "Element <" + elementName + "> not found");
  if (comesOutOfEntity(*elements.first))
    fail<InvalidXMLDataException>(invalid + "Element <" + elementName + "> comes out of an entity");
  return *elements.first;
}

/** Whether readers can see another document than the tree that was signed: what a document type declares is
 * written anew, and what XML 1.1 allows goes another way through writer and parser. */
bool mayReadDifferently(const xercesc::DOMDocument& document) {
  return document.getDoctype() != nullptr || viewOf(document.getXmlVersion()) == u"1.1";
}

/** Refuses what would pass the limits once it is signed, as whoever reads it then does. */
void requireRoomForSignatures(const ParsedDocument& parsed) {
  const ElementIndex& index = parsed.names();
  std::size_t names =
      parsed.nameCount() + std::size(kElementsOfSignature) + std::size(kAttributesOfSignature);
  if (names > ParserLimits::kMaximumNames) {
    index.forEach([&names](std::u16string_view name, const NamedElements&) {
      if (isNamed(kElementsOfSignature, name) || isNamed(kAttributesOfSignature, name)) --names;
    });
  }
  if (names > ParserLimits::kMaximumNames) fail<XMLDataParsingException>("The document has too many names");
  for (const char* part : kSignedElements) {
    const NamedElements found = index.find(part);
    if (found.count == 1 && levelOf(*found.first) + kLevelsOfSignature > ParserLimits::kMaximumElementDepth)
      fail<InvalidXMLDataException>("Request XML data is invalid. Elements are nested too deeply");
  }
}

std::string digestOfWhole(const xercesc::DOMDocument& document) {
  return verification::digestElement(*document.getDocumentElement(), nullptr, EVP_sha256());
}

/** That who reads what is handed out sees what was signed. */
void requireReadsAs(const std::string& digest, const std::string& signedXml) {
  bool isSame = false;
  std::optional<std::string> refusal;
  try {
    refusal = refusalOf([&] {
      ParsedDocument parsed(signedXml);
      isSame = digestOfWhole(parsed.document()) == digest;
    });
  } catch (const BaseException& e) {
    refusal = e.message();
  }
  if (!isSame) {
    fail<CryptoException>("The signed document does not verify: " + refusal.value_or("it reads differently"),
                          reason::kDocumentInvalid);
  }
}

/** Runs one step of signing; whatever it throws, but for want of memory, becomes a
 * CryptoException that names the step. */
template <typename Step>
auto reportingAs(const std::string& stepName, Step step) {
  const std::string caughtCrypto = "Caught XSECCryptoException " + stepName + ". Exception message = ";
  try {
    return step();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const xercesc::OutOfMemoryException&) {
    throw;
  } catch (const XSECException& e) {
    fail<CryptoException>("Caught XSECException " + stepName + ". Exception message = " + toUtf8(e.getMsg()),
                          reason::kInternal);
  } catch (const KeyRefusedException& e) {
    fail<CryptoException>(caughtCrypto + e.getMsg(), e.reason());
  } catch (const XSECCryptoException& e) {
    fail<CryptoException>(caughtCrypto + e.getMsg());
  } catch (...) {
    fail<CryptoException>("Caught unknown exception " + stepName, reason::kInternal);
  }
}

void logWarning(const SignatureWarning& warning) {
  const std::string id = signature_record::document();
  LOG4CPLUS_WARN(logger, warning.code << ": " << warning.text << (id.empty() ? "" : ", document = " + id));
}

}  // namespace

XMLSigner& XMLSigner::getInstance() {
  static auto* const instance = new XMLSigner;
  return *instance;
}

void XMLSigner::initialise(SignatureAlgorithm algorithm) {
  try {
    if (domImplementation_ == nullptr) {
      LOG4CPLUS_DEBUG(logger, "Initialising XML libraries");
      startXmlLibraries();
      domImplementation_ = xercesc::DOMImplementationRegistry::getDOMImplementation(u"Core");
    }
  } catch (const BaseException& e) {
    LOG4CPLUS_ERROR(logger, e.message());
    throw;
  }
  expansions_ = {};
  switch (algorithm) {
#define VORN_ROW(name, method, digest, hash, family, bits, evp) \
  case SignatureAlgorithm::name:                                \
    signatureMethodURI_ = DSIGConstants::method;                \
    digestMethodURI_ = DSIGConstants::digest;                   \
    algorithm_ = algorithm;                                     \
    break;
    VORN_SIGNATURE_ALGORITHMS(VORN_ROW)
#undef VORN_ROW
  }
}

std::string XMLSigner::sign(const std::string& base64Xml) {
  LOG4CPLUS_INFO(logger, "Signing XML data");
  std::string digest;
  const std::string signedXml = makeSignedXml(base64Xml, digest);
  if (!digest.empty()) requireReadsAs(digest, signedXml);
  LOG4CPLUS_DEBUG(logger, "Signed XML = " << signedXml);
  return toBase64(signedXml);
}

/** All that the document takes is given back at the end; the result is encoded after that. */
std::string XMLSigner::makeSignedXml(const std::string& base64Xml, std::string& digest) {
  ParsedDocument parsed = [this, &base64Xml] {
    const auto xml = fromBase64(base64Xml);
    if (!xml) fail<XMLDataParsingException>("Request XML data is not valid base64");
    LOG4CPLUS_DEBUG(logger, "XML data to be signed = " << xml->view());
    return parse(xml->view(), expansions_);
  }();
  const std::vector<SignatureWarning> warnings = warningsOf(parsed, SigningStage::kBefore, algorithm_);
  requireRoomForSignatures(parsed);
  for (const char* element : kSignedElements) generateSignature(parsed.document(), element);
  for (const SignatureWarning& warning : warnings) logWarning(warning);
  LOG4CPLUS_INFO(logger, "Finished signing XML");
  if (mayReadDifferently(parsed.document())) digest = digestOfWhole(parsed.document());
  return serialiseDocument(parsed.document());
}

void XMLSigner::generateSignature(xercesc::DOMDocument& document, const std::string& elementName) {
  xercesc::DOMElement& element = findSingleElement(document, elementName);

  SigningKey signer =
      reportingAs("initialising signing certificate", [] { return signing_identity::makeKey(); });

  LOG4CPLUS_INFO(logger, "Generating and loading signature for <" << elementName << ">");
  reportingAs("during signature loading", [&] {
    if (signatureMethodURI_ == nullptr)
      throw XSECException(XSECException::AlgorithmMapperError, "No signature algorithm has been selected");
    const std::string digest = buildSignature(element, elementName, signatureMethodURI_, digestMethodURI_,
                                              std::move(signer), signing_identity::encodedCertificate());
    signature_record::add(elementName, digest);
  });
}

std::string XMLSigner::serialiseDocument(const xercesc::DOMDocument& document) {
  xercesc::MemBufFormatTarget target(kInitialCapacity);
  const std::unique_ptr<xercesc::DOMLSOutput, Release> output(domImplementation_->createLSOutput());
  output->setEncoding(u"UTF-8");
  output->setByteStream(&target);
  writeDocument(document, *output);
  return {reinterpret_cast<const char*>(target.getRawBuffer()), target.getLen()};
}

void XMLSigner::cleanup() {
  if (domImplementation_ == nullptr) return;
  LOG4CPLUS_DEBUG(logger, "Unloading XML libraries");
  stopXmlLibraries();
}

}  // namespace vorn
